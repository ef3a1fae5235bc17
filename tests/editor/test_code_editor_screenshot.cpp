#include "config/color_scheme.h"
#include "editor/code_editor.h"
#include "editor/code_editor_line_numbers.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtGui/QTextBlock>
#include <QtTest/QTest>
#include <QtWidgets/QHBoxLayout>

using namespace ke2;

// Draws a MEL and a Python editor side by side, as a user sees them, and checks what the picture
// shows: line numbers, a diagnostic marker, indentation guides. With KE2_SCREENSHOT_DIR set the
// picture is also saved there as code_editors.png.
class CodeEditorScreenshotTest : public QObject {
    Q_OBJECT
private slots:
    void melAndPythonEditors()
    {
        QWidget window;
        auto *layout = new QHBoxLayout(&window);
        layout->setContentsMargins(0, 0, 0, 0);
        auto *mel = new CodeEditor(LANGUAGE_MEL, QStringLiteral("tools.mel"), &window);
        auto *python = new CodeEditor(LANGUAGE_PYTHON, QStringLiteral("tools.py"), &window);
        layout->addWidget(mel);
        layout->addWidget(python);
        mel->setPlainText(QStringLiteral(
            "// Rename the selected transforms.\n"
            "global proc renameSelected(string $prefix)\n"
            "{\n"
            "    string $nodes[] = `ls -sl -type transform`;\n"
            "    for ($node in $nodes) {\n"
            "        if (size($prefix) > 0) {\n"
            "            rename $node ($prefix + \"_\" + $node);\n"
            "        }\n"
            "\n"
            "        print (\"renamed \" + $node + \"\\n\");\n"
            "    }\n"
            "}\n"));
        python->setPlainText(QStringLiteral(
            "import maya.cmds as cmds\n"
            "\n"
            "\n"
            "class Renamer(object):\n"
            "    \"\"\"Renames nodes with a prefix.\"\"\"\n"
            "\n"
            "    def __init__(self, prefix):\n"
            "        self.prefix = prefix  # TODO: validate\n"
            "\n"
            "    def run(self, nodes=None):\n"
            "        for node in nodes or cmds.ls(sl=True):\n"
            "            if self.prefix:\n"
            "                cmds.rename(node, '%s_%s' % (self.prefix, node))\n"
            "        return len(nodes\n"));
        // A diagnostic on each: an unclosed bracket (Python error), an unused variable (MEL warning).
        const int unclosed = python->toPlainText().indexOf(QLatin1String("len(")) + 3;
        python->SetDiagnostics({{unclosed, unclosed + 1, QStringLiteral("Expected a ')'")}}, {},
                               {{python->toPlainText().indexOf(QLatin1String("TODO")), 0, QStringLiteral("TODO: validate")}});
        const int prefix = mel->toPlainText().indexOf(QLatin1String("$nodes"));
        mel->SetDiagnostics({}, {{prefix, prefix + 6, QStringLiteral("Variable is never used")}}, {});
        QTextCursor cursor(python->document()->findBlockByNumber(11));
        cursor.movePosition(QTextCursor::EndOfBlock);
        python->setTextCursor(cursor);
        window.resize(1100, 320);
        window.show();
        QVERIFY(QTest::qWaitForWindowExposed(&window));

        const QImage image = window.grab().toImage();
        const QString directory = qEnvironmentVariable("KE2_SCREENSHOT_DIR");
        if (!directory.isEmpty())
            QVERIFY(image.save(QDir(directory).filePath(QStringLiteral("code_editors.png"))));

        // Markers: yellow on MEL line 4, red on Python line 14.
        auto markerAt = [&](CodeEditor *editor, int line) {
            const QRect rect = editor->cursorRect(QTextCursor(editor->document()->findBlockByNumber(line)));
            const QPoint inWindow = editor->LineNumberArea()->mapTo(&window, QPoint(editor->GutterWidth() / 2, rect.center().y()));
            return image.pixelColor(inWindow);
        };
        QCOMPARE(markerAt(mel, 3), ColorScheme::warningMarkColor());
        QCOMPARE(markerAt(python, 13), ColorScheme::errorMarkColor());
        QCOMPARE(markerAt(python, 7), ColorScheme::informationMarkColor());

        // Guides: the second guide of the Python line "            if self.prefix:" and of the blank
        // lines (which take their guides from the next line).
        const QColor guide = ColorScheme::instance().codeEditorRoles.format(QString::fromLatin1(ColorRoleName::indentationGuides))
                                 .foreground().color();
        auto guidePixel = [&](CodeEditor *editor, int line, int level) {
            const QRect rect = editor->cursorRect(QTextCursor(editor->document()->findBlockByNumber(line)));
            const int x = qRound(editor->document()->documentMargin() + level * editor->TabStopWidth());
            return image.pixelColor(editor->viewport()->mapTo(&window, QPoint(x, rect.center().y())));
        };
        QCOMPARE(guidePixel(python, 11, 1), guide);
        QCOMPARE(guidePixel(python, 12, 3), guide);
        QCOMPARE(guidePixel(python, 8, 0), guide);
        QCOMPARE(python->GuideCount(python->document()->findBlockByNumber(8)), 1);
        QCOMPARE(guidePixel(mel, 8, 1), guide);
    }
};
KE2_TEST_CLASS(CodeEditorScreenshotTest)

#include "test_code_editor_screenshot.moc"
