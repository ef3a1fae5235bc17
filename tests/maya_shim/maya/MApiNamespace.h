#pragma once
// Every OpenMaya class lives in a namespace named after the API version and is brought into the
// global scope by a using-declaration, so plug-in code writes plain `MString` while mangled
// names carry the version.

#define OPENMAYA_MAJOR_NAMESPACE Autodesk::Maya::OpenMaya20220000
#define OPENMAYA_NAMESPACE OPENMAYA_MAJOR_NAMESPACE
#define OPENMAYA_MAJOR_NAMESPACE_OPEN namespace Autodesk { namespace Maya { namespace OpenMaya20220000 {
#define OPENMAYA_NAMESPACE_OPEN OPENMAYA_MAJOR_NAMESPACE_OPEN
#define OPENMAYA_NAMESPACE_CLOSE } } }

OPENMAYA_MAJOR_NAMESPACE_OPEN
class MArgDatabase;
class MArgList;
class MArgParser;
class MCallbackIdArray;
class MCommandMessage;
class MCommandResult;
class MDoubleArray;
class MEventMessage;
class MFnBase;
class MFnPlugin;
class MGlobal;
class MInt64Array;
class MIntArray;
class MMatrix;
class MMatrixArray;
class MMessage;
class MObject;
class MPxCommand;
class MQtUtil;
class MStatus;
class MString;
class MStringArray;
class MSyntax;
class MVector;
class MVectorArray;
OPENMAYA_NAMESPACE_CLOSE

using OPENMAYA_MAJOR_NAMESPACE::MArgDatabase;
using OPENMAYA_MAJOR_NAMESPACE::MArgList;
using OPENMAYA_MAJOR_NAMESPACE::MArgParser;
using OPENMAYA_MAJOR_NAMESPACE::MCallbackIdArray;
using OPENMAYA_MAJOR_NAMESPACE::MCommandMessage;
using OPENMAYA_MAJOR_NAMESPACE::MCommandResult;
using OPENMAYA_MAJOR_NAMESPACE::MDoubleArray;
using OPENMAYA_MAJOR_NAMESPACE::MEventMessage;
using OPENMAYA_MAJOR_NAMESPACE::MFnBase;
using OPENMAYA_MAJOR_NAMESPACE::MFnPlugin;
using OPENMAYA_MAJOR_NAMESPACE::MGlobal;
using OPENMAYA_MAJOR_NAMESPACE::MInt64Array;
using OPENMAYA_MAJOR_NAMESPACE::MIntArray;
using OPENMAYA_MAJOR_NAMESPACE::MMatrix;
using OPENMAYA_MAJOR_NAMESPACE::MMatrixArray;
using OPENMAYA_MAJOR_NAMESPACE::MMessage;
using OPENMAYA_MAJOR_NAMESPACE::MObject;
using OPENMAYA_MAJOR_NAMESPACE::MPxCommand;
using OPENMAYA_MAJOR_NAMESPACE::MQtUtil;
using OPENMAYA_MAJOR_NAMESPACE::MStatus;
using OPENMAYA_MAJOR_NAMESPACE::MString;
using OPENMAYA_MAJOR_NAMESPACE::MStringArray;
using OPENMAYA_MAJOR_NAMESPACE::MSyntax;
using OPENMAYA_MAJOR_NAMESPACE::MVector;
using OPENMAYA_MAJOR_NAMESPACE::MVectorArray;
