#pragma once

#include <maya/MArgList.h>
#include <maya/MPxCommand.h>
#include <maya/MStatus.h>
#include <maya/MSyntax.h>

namespace ke2 {

// The host command "kestrelEditor2": shows the editor, or acts on the first of its flags.
class KestrelEditorCommand : public MPxCommand {
public:
    ~KestrelEditorCommand() override;
    MStatus doIt(const MArgList &args) override;

    static void *creator();
    static MSyntax newSyntax();
};

} // namespace ke2
