#pragma once

#include <maya/MArgParser.h>
#include <maya/MStringArray.h>

OPENMAYA_MAJOR_NAMESPACE_OPEN

class OPENMAYA_EXPORT MArgDatabase : public MArgParser {
public:
    MArgDatabase();
    MArgDatabase(const MSyntax &syntax, const MArgList &argList, MStatus *ReturnStatus = nullptr);
    virtual ~MArgDatabase();
    MStatus getObjects(MStringArray &result) const;
};

OPENMAYA_NAMESPACE_CLOSE
