#pragma once
// Inside the stand-in only: the private data of the OpenMaya classes that the runtime fills in,
// reached without friend declarations that Maya's own headers do not have.

#include <maya/MCommandResult.h>
#include <maya/MObject.h>
#include <maya/MSyntax.h>

#include <string>
#include <vector>

namespace ke2::mayashim {

struct SyntaxFlag {
    std::string shortName, longName;
    int arguments;
};
using SyntaxData = std::vector<SyntaxFlag>;

void *&objectPointer(MObject &object);
const SyntaxData &syntaxData(const MSyntax &syntax);
// Sets a command's result as Maya's interpreter does.
void setResult(MCommandResult &result, MCommandResult::Type type, MInt64 integer, double real,
               const MString &text, const MStringArray &texts);

} // namespace ke2::mayashim
