#include "app/python_host.h"
#include "language/mel_auto_completer.h"
#include "language/python_auto_completer.h"
#include "plugin/host_bridge.h"
#include "plugin/python_analysis_thread.h"
#include "tests/editor/editor_test_support.h"
#include "tests/support/fake_host.h"
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QSemaphore>
#include <QtCore/QSortFilterProxyModel>
#include <QtCore/QTemporaryDir>
#include <QtGui/QScreen>
#include <QtWidgets/QApplication>
#include <QtWidgets/QListView>
#include <QtWidgets/QPlainTextDocumentLayout>

using namespace ke2;
using namespace ke2::test;

namespace {

AutoCompleter *popupOf(CodeEditor &editor)
{
    return editor.findChild<AutoCompleter *>();
}

// Keys go where a person's keys go: to the list while the popup shows, else to the editor.
void press(CodeEditor &editor, Qt::Key key)
{
    AutoCompleter *popup = popupOf(editor);
    QWidget *target = popup && popup->isVisible() ? static_cast<QWidget *>(popup->ListView()) : &editor;
    QTest::keyClick(target, key);
}

} // namespace

// MEL completion from the host's lists, with the host scripted.
class MelCompletionTest : public QObject {
    Q_OBJECT

    FakeHost m_host;
    SettingsGuard m_settings;

private slots:
    void initTestCase()
    {
        m_host.answer("hxGetMelInfo(1, 0, 0)", QStringList{"polySphere", "", "polyCube", "sphere"});
        m_host.answer("hxGetMelInfo(0, 1, 0)", QStringList{"polySmoothRT"});
        m_host.answer("hxGetMelInfo(0, 0, 1)", QStringList{"myProc"});
        HostBridge::setHost(&m_host);
        HostBridge::loadMelLists();
        MelAutoCompleter::ReloadSharedModel();
    }
    void cleanupTestCase() { HostBridge::setHost(nullptr); }

    void typing_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QStringList>("shown"); // empty: the popup stays hidden
        QTest::addColumn<QString>("after");     // the text once Return was pressed (if shown)
        QTest::newRow("letters list keywords and host names, sorted") << "|" << "po" << QStringList{"polyCube", "polySmoothRT", "polySphere"} << "polyCube|";
        QTest::newRow("case matters") << "|" << "Po" << QStringList{} << "";
        QTest::newRow("procedures too") << "|" << "my" << QStringList{"myProc"} << "myProc|";
        QTest::newRow("a flag is never completed") << "sphere |" << "-po" << QStringList{} << "";
        QTest::newRow("a variable is never completed") << "|" << "$po" << QStringList{} << "";
        QTest::newRow("the word before a bracket") << "|);" << "polyS" << QStringList{"polySmoothRT", "polySphere"} << "polySmoothRT|);";
    }
    void typing()
    {
        QFETCH(QString, text);
        QFETCH(QString, keys);
        QFETCH(QStringList, shown);
        QFETCH(QString, after);
        auto editor = makeEditor(LANGUAGE_MEL, text);
        editor->show();
        typeKeys(*editor, keys);
        AutoCompleter *popup = popupOf(*editor);
        QVERIFY(popup);
        QCOMPARE(popup->isVisible() ? popup->VisibleCandidates() : QStringList(), shown);
        if (shown.isEmpty())
            return;
        press(*editor, Qt::Key_Return);
        QVERIFY(!popup->isVisible());
        QCOMPARE(editorState(*editor), after);
    }

    // Ctrl+Space with one candidate completes at once; navigation moves within the rows.
    void forcedSingleAndNavigation()
    {
        auto editor = makeEditor(LANGUAGE_MEL, "my|");
        editor->show();
        typeKeys(*editor, "\x05");
        QCOMPARE(editorState(*editor), QString("myProc|"));
        QVERIFY(!popupOf(*editor)->isVisible());

        setEditorState(*editor, "|");
        typeKeys(*editor, "poly");
        AutoCompleter *popup = popupOf(*editor);
        QCOMPARE(popup->CurrentRow(), 0);
        press(*editor, Qt::Key_Up);
        QCOMPARE(popup->ListView()->currentIndex().row(), 0);
        for (int i = 0; i < 5; ++i)
            press(*editor, Qt::Key_Down);
        QCOMPARE(popup->ListView()->currentIndex().row(), 2);
        QTest::keyClick(popup->ListView(), 'C'); // typing goes on in the editor
        QCOMPARE(editor->toPlainText(), QString("polyC"));
        QCOMPARE(popup->VisibleCandidates(), QStringList{"polyCube"});
        press(*editor, Qt::Key_Escape);
        QVERIFY(!popup->isVisible());
        QCOMPARE(editor->toPlainText(), QString("polyC"));
    }

    // The right and bottom edges stay on the screen; a popup with room keeps its size.
    void placementAtTheScreenEdge_data()
    {
        QTest::addColumn<QPoint>("topLeft");
        QTest::addColumn<QRect>("expected");
        const QRect screen(0, 0, 800, 600);
        QTest::newRow("room") << QPoint(100, 100) << QRect(100, 100, 140, 120);
        QTest::newRow("right edge") << QPoint(700, 100) << QRect(700, 100, 100, 120);
        QTest::newRow("bottom edge") << QPoint(100, 550) << QRect(100, 550, 140, 50);
        QTest::newRow("corner") << QPoint(790, 590) << QRect(790, 590, 10, 10);
    }
    void placementAtTheScreenEdge()
    {
        QFETCH(QPoint, topLeft);
        QFETCH(QRect, expected);
        QCOMPARE(AutoCompleter::PopupGeometry(topLeft, QSize(140, 120), QRect(0, 0, 800, 600)), expected);
    }
    void livePopupStaysOnItsScreen()
    {
        const QRect screen = QApplication::primaryScreen()->geometry();
        auto editor = makeEditor(LANGUAGE_MEL, "|");
        editor->resize(300, 200);
        editor->move(screen.right() - 150, screen.bottom() - 60);
        editor->show();
        QVERIFY(QTest::qWaitForWindowExposed(editor.get()));
        typeKeys(*editor, "p");
        AutoCompleter *popup = popupOf(*editor);
        QVERIFY(popup->isVisible());
        QVERIFY2(screen.contains(popup->geometry()), qPrintable(QString("%1,%2 %3x%4").arg(popup->x()).arg(popup->y()).arg(popup->width()).arg(popup->height())));
        QCOMPARE(popup->geometry().topLeft(), editor->viewport()->mapToGlobal(editor->cursorRect().bottomLeft()));
    }
};

// Python completion against the real embedded interpreter and the analysis script.
class PythonCompletionTest : public QObject {
    Q_OBJECT

    TempPrefs m_prefs;
    QTemporaryDir m_packages;
    std::unique_ptr<PythonHost> m_host;
    SettingsGuard m_settings;

    // Types `keys` after `text` and waits until the queued host query ran.
    QStringList complete(CodeEditor &editor, const QString &text, const QString &keys)
    {
        setEditorState(editor, text);
        typeKeys(editor, keys);
        auto *popup = qobject_cast<PythonAutoCompleter *>(popupOf(editor));
        if (!popup)
            return {}; // never asked for
        for (int wait = 0; wait < 500 && popup->QueryPending(); ++wait)
            QTest::qWait(10);
        return popup->isVisible() ? popup->VisibleCandidates() : QStringList();
    }

private slots:
    void initTestCase()
    {
        QDir().mkpath(m_packages.filePath("ke2fake"));
        for (const auto &file : {qMakePair(QString("ke2fake/__init__.py"), QByteArray()),
                                 qMakePair(QString("ke2fake/cmds.py"), QByteArray("def ls(*args):\n    pass\ndef polySphere(radius=1.0):\n    pass\n_hidden = 0\n"))}) {
            QFile out(m_packages.filePath(file.first));
            QVERIFY(out.open(QIODevice::WriteOnly));
            out.write(file.second);
        }
        m_host = std::make_unique<PythonHost>(m_prefs.root());
        m_host->addCallbacks(nullptr);
        HostBridge::setHost(m_host.get());
        HostBridge::loadEmbeddedScripts();
        QVERIFY(m_host->executePython("import sys\nsys.path.insert(0, r'" + QDir::toNativeSeparators(m_packages.path()) + "')"));
        Settings::instance().pythonIncludeKeywords = false;
        Settings::instance().pythonIncludeBuiltins = false;
    }
    void cleanupTestCase()
    {
        m_host->executePython("import sys\nfor _n in [n for n in sys.modules if n.startswith('ke2fake')]:\n    del sys.modules[_n]\n"
                              "sys.path.remove(r'" + QDir::toNativeSeparators(m_packages.path()) + "')");
        HostBridge::setHost(nullptr);
        m_host.reset();
    }

    void members_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QStringList>("expected");
        QTest::addColumn<QString>("accepted"); // the text after Return
        QTest::newRow("module members through an alias") << "import ke2fake.cmds as cmds\n|" << "cmds."
                                                         << QStringList{"ls", "polySphere", "_hidden"} << "import ke2fake.cmds as cmds\ncmds.ls|";
        QTest::newRow("filtered case-insensitively, exact case first") << "import ke2fake.cmds as cmds\n|" << "cmds.PO"
                                                                        << QStringList{"polySphere"} << "import ke2fake.cmds as cmds\ncmds.polySphere|";
        QTest::newRow("self in a method")
            << "class Tool:\n    size = 1\n    def __init__(self):\n        self.name = 'a'\n    def run(self):\n        |\n"
            << "self." << QStringList{"name", "run", "size", "__init__"}
            << "class Tool:\n    size = 1\n    def __init__(self):\n        self.name = 'a'\n    def run(self):\n        self.name|\n";
        QTest::newRow("from-import of a real module") << "|" << "from os import pat" << QStringList{"path", "pathconf", "pathconf_names", "PathLike", "pathsep"}
                                                      << "from os import path|";
        QTest::newRow("a syntax error elsewhere changes nothing") << "import ke2fake.cmds as cmds\nbroken = (\n|" << "cmds.p"
                                                                  << QStringList{"polySphere"} << "import ke2fake.cmds as cmds\nbroken = (\ncmds.polySphere|";
        QTest::newRow("a live object of the interpreter") << "|" << "ke2_live_text.uppe" << QStringList{"upper"} << "ke2_live_text.upper|";
    }
    void members()
    {
        QFETCH(QString, text);
        QFETCH(QString, keys);
        QFETCH(QStringList, expected);
        QFETCH(QString, accepted);
        QVERIFY(m_host->executePython("ke2_live_text = 'abc'"));
        auto editor = makeEditor(LANGUAGE_PYTHON, "|");
        editor->show();
        QCOMPARE(complete(*editor, text, keys), expected);
        press(*editor, Qt::Key_Return);
        QCOMPARE(editorState(*editor), accepted);
    }

    // Modules that must be imported to list their members (here one in a standard library archive,
    // as embedded interpreters ship it) may print: completion shows nothing of it, whichever thread
    // asked.
    void analysisPrintsNothing()
    {
        const QString archive = QDir::toNativeSeparators(m_packages.filePath("python99.zip"));
        QVERIFY(m_host->executePython("import sys, zipfile\nwith zipfile.ZipFile(r'" + archive + "', 'w') as _z:\n"
                                      "    _z.writestr('ke2noisy.py', \"import sys\\nprint('imported')\\nsys.stderr.write('warned\\\\n')\\ndef shout():\\n    pass\\n\")\n"
                                      "sys.path.insert(0, r'" + archive + "')"));
        QStringList received;
        m_host->output().setReceiver([&received](const QString &text) { received.append(text); });
        auto editor = makeEditor(LANGUAGE_PYTHON, "|");
        editor->show();
        const QStringList shown = complete(*editor, "import ke2noisy\n|", "ke2noisy.sh");
        m_host->executePython("import sys\nsys.path.remove(r'" + archive + "')\nsys.modules.pop('ke2noisy', None)");
        QTest::qWait(50); // output of other threads reaches the panel through the event loop
        m_host->output().setReceiver({});
        QCOMPARE(shown, QStringList{"shout"});
        QCOMPARE(received, QStringList());
    }

    void fromImportListsEverything()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, "|");
        editor->show();
        const QStringList shown = complete(*editor, "|", "from os import \x05");
        for (const char *name : {"path", "getcwd", "sep", "environ"})
            QVERIFY2(shown.contains(name), name);
        QCOMPARE(shown, QStringList(shown).filter(QRegularExpression("^[^_]")) + QStringList(shown).filter(QRegularExpression("^_")));
    }

    // Letters and dots typed in comments and strings are prose: no popup, and Return breaks the
    // line. Code around them completes as before, and Ctrl+Space opens anywhere.
    void proseOpensNothing_data()
    {
        QTest::addColumn<QString>("keys");
        QTest::addColumn<QStringList>("shown"); // empty: the popup stays hidden
        QTest::addColumn<QString>("after");     // the text once Return was pressed
        const QString start = "index = 1\nindent = 2\n";
        QTest::newRow("comment") << "# fix this in" << QStringList() << start + "# fix this in\n|";
        QTest::newRow("comment after code") << "x = 1  # in" << QStringList() << start + "x = 1  # in\n|";
        QTest::newRow("unclosed string") << "s = \"os.pa" << QStringList() << QString();
        QTest::newRow("single quotes") << "s = 'ind" << QStringList() << QString();
        QTest::newRow("code") << "x = ind" << QStringList{"indent", "index"} << start + "x = indent|";
        QTest::newRow("code after a closed string") << "s = 'a' + ind" << QStringList{"indent", "index"} << QString();
        QTest::newRow("Ctrl+Space in a comment") << "# ind\x05" << QStringList{"indent", "index"} << start + "# indent|";
    }
    void proseOpensNothing()
    {
        QFETCH(QString, keys);
        QFETCH(QStringList, shown);
        QFETCH(QString, after);
        auto editor = makeEditor(LANGUAGE_PYTHON, "|");
        editor->show();
        QCOMPARE(complete(*editor, "index = 1\nindent = 2\n|", keys), shown);
        if (after.isEmpty())
            return;
        press(*editor, Qt::Key_Return);
        QCOMPARE(editorState(*editor), after);
    }

    // Keys typed faster than the host answers: one query, about the text as it ends up.
    void keysTypedBeforeTheAnswerReplaceTheRequest()
    {
        auto editor = makeEditor(LANGUAGE_PYTHON, "import os\n|");
        editor->show();
        typeKeys(*editor, "o");
        auto *popup = qobject_cast<PythonAutoCompleter *>(popupOf(*editor));
        QVERIFY(popup && popup->QueryPending());
        typeKeys(*editor, "s.sep");
        QVERIFY(!popup->isVisible());
        QTRY_VERIFY(!popup->QueryPending());
        QCOMPARE(popup->Expression(), QString("os"));
        QCOMPARE(popup->VisibleCandidates().first(), QString("sep"));
        typeKeys(*editor, "\b\b\b\b\b\b");
        QTRY_VERIFY(!popup->isVisible());
    }

    // The embedded host answers on the analysis thread while keys go on. What happens between the
    // request and its answer decides whether the answer is shown: the analysis thread is held
    // busy until then, so the answer always arrives after it.
    void lateAnswers_data()
    {
        QTest::addColumn<QString>("keys");     // typed after the request left
        QTest::addColumn<bool>("editAbove");   // an edit on the first line meanwhile
        QTest::addColumn<QStringList>("shown"); // empty: dropped
        QTest::newRow("nothing meanwhile") << "" << false << QStringList{"indent", "index"};
        QTest::newRow("letters typed into the same word") << "dex" << false << QStringList{"index"};
        QTest::newRow("cursor moved to the line's start") << "\x01" << false << QStringList();
        QTest::newRow("an edit on another line") << "" << true << QStringList();
        QTest::newRow("a new word typed meanwhile: asked again") << " + ind" << false << QStringList{"indent", "index"};
    }
    void lateAnswers()
    {
        QFETCH(QString, keys);
        QFETCH(bool, editAbove);
        QFETCH(QStringList, shown);
        // The analysis thread runs nothing else until the test lets it, even when a check fails.
        const auto busy = std::make_shared<QSemaphore>();
        const std::unique_ptr<QSemaphore, void (*)(QSemaphore *)> guard(busy.get(), [](QSemaphore *s) { s->release(); });
        PythonAnalysisThread::Submit([busy] { busy->acquire(); }, {});
        auto editor = makeEditor(LANGUAGE_PYTHON, "index = 1\nindent = 2\nx = |");
        editor->show();
        typeKeys(*editor, "in");
        auto *popup = qobject_cast<PythonAutoCompleter *>(popupOf(*editor));
        QVERIFY(popup);
        QTest::qWait(20); // the request leaves, and waits behind the busy thread
        QVERIFY(popup->QueryPending() && !popup->isVisible());
        typeKeys(*editor, keys);
        if (editAbove)
            QTextCursor(editor->document()).insertText("y = 0\n");
        busy->release();
        QTRY_VERIFY(!popup->QueryPending());
        QCOMPARE(popup->isVisible() ? popup->VisibleCandidates() : QStringList(), shown);
    }

    // The rewritten buffer: the statement under the cursor becomes the locator; line numbers stay.
    void query_data()
    {
        QTest::addColumn<QString>("text");
        QTest::addColumn<QString>("source");
        QTest::addColumn<bool>("extras");
        QTest::newRow("plain statement, the rest cut off") << "a = 1\nb = a.|\nc = 2" << "a = 1\n__kestrel_lctr_hlvd__ = None\n" << true;
        QTest::newRow("text after the cursor keeps the rest") << "a = 1\nb = a.|x\nc = 2" << "a = 1\n__kestrel_lctr_hlvd__ = None\nc = 2\n" << true;
        QTest::newRow("def header, no extras") << "def foo(a, b|\nx = 1" << "def __kedefloc__(__kestrel_lctr_hlvd__): pass\n" << false;
        QTest::newRow("class header") << "class A(ba|" << "class __keclsloc__(__kestrel_lctr_hlvd__): pass\n" << false;
        QTest::newRow("continued lines keep their count") << "f(1,\n  2,\n  x|" << "__kestrel_lctr_hlvd__ = None\n\n\n" << true;
        QTest::newRow("if header gets a body") << "if x|:" << "if __kestrel_lctr_hlvd__: pass\n" << true;
        QTest::newRow("for header") << "    for i in x:|\n        pass" << "    while __kestrel_lctr_hlvd__: pass\n" << true;
        QTest::newRow("semicolons") << "a = 1; b = a.|" << "a = 1;__kestrel_lctr_hlvd__ = None;\n" << true;
        QTest::newRow("try without its except") << "try:\n    x = 1\n    y.|" << "if True:\n    x = 1\n    __kestrel_lctr_hlvd__ = None\n" << true;
        QTest::newRow("except and finally") << "try:\n    a\nexcept (A, B) as e:\n    b\nfinally:\n    |"
                                            << "if True:\n    a\nif False:\n    b\nif True:\n    __kestrel_lctr_hlvd__ = None\n" << true;
        QTest::newRow("trailing blanks go") << "a = 1   \n|" << "a = 1\n__kestrel_lctr_hlvd__ = None\n" << true;
        QTest::newRow("a name starting with def") << "default_value = pri|" << "__kestrel_lctr_hlvd__ = None\n" << true;
        QTest::newRow("a name starting with class") << "classes = cl|" << "__kestrel_lctr_hlvd__ = None\n" << true;
    }
    void query()
    {
        QFETCH(QString, text);
        QFETCH(QString, source);
        QFETCH(bool, extras);
        QTextDocument document;
        const int position = text.indexOf('|');
        document.setPlainText(text.remove('|'));
        const PythonAutoCompleter::Query query = PythonAutoCompleter::BuildQuery(&document, position);
        QCOMPARE(query.source, source);
        QCOMPARE(query.extras, extras);
        QWidget editor;
        PythonAutoCompleter popup(&editor);
        const PythonAutoCompleter::Query escaped = popup.BuildEscapedQuery(&document, position);
        QCOMPARE(escaped.source, PythonAutoCompleter::Escaped(source));
        QCOMPARE(escaped.extras, extras);
    }

    // The escaped lines a query is made of follow every edit of the document: each edit (start
    // line, column, characters removed, text inserted) is applied to a buffer whose lines were
    // read before, and the query must be what a fresh rewrite of the whole buffer gives.
    void queryFollowsEdits_data()
    {
        QTest::addColumn<int>("line");
        QTest::addColumn<int>("column");
        QTest::addColumn<int>("removed");
        QTest::addColumn<QString>("inserted");
        QTest::newRow("a letter") << 5 << 3 << 0 << "x";
        QTest::newRow("a new line") << 5 << 0 << 0 << "y = \"q\"\n";
        QTest::newRow("lines joined") << 3 << 4 << 12 << QString();
        QTest::newRow("paste of several lines") << 8 << 2 << 3 << "a\ntry:\n    b = 'x\\\\'\nexcept:\n";
        QTest::newRow("removal from the first line") << 0 << 0 << 30 << QString();
        QTest::newRow("the last line") << 19 << 0 << 100 << "tail = 1   ";
        QTest::newRow("everything replaced") << 0 << 0 << 100000 << "only\nthis";
    }
    void queryFollowsEdits()
    {
        QFETCH(int, line);
        QFETCH(int, column);
        QFETCH(int, removed);
        QFETCH(QString, inserted);
        QStringList lines;
        for (int i = 0; i < 20; ++i)
            lines << QStringLiteral("v%1 = \"a\\\\b\"   ").arg(i) << (i % 2 ? "try:" : "    pass");
        QTextDocument document;
        document.setDocumentLayout(new QPlainTextDocumentLayout(&document)); // as in the editor
        document.setPlainText(lines.join('\n'));
        QWidget editor;
        PythonAutoCompleter popup(&editor);
        const int middle = document.findBlockByNumber(10).position() + 2;
        popup.BuildEscapedQuery(&document, middle); // reads the lines as they are
        QTextCursor cursor(document.findBlockByNumber(line));
        cursor.movePosition(QTextCursor::Right, QTextCursor::MoveAnchor, column);
        cursor.setPosition(std::min(cursor.position() + removed, document.characterCount() - 1), QTextCursor::KeepAnchor);
        cursor.insertText(inserted);
        for (const int position : {0, std::min(middle, document.characterCount() - 1), document.characterCount() - 1})
            QCOMPARE(popup.BuildEscapedQuery(&document, position).source,
                     PythonAutoCompleter::Escaped(PythonAutoCompleter::BuildQuery(&document, position).source));
        document.undo();
        QCOMPARE(popup.BuildEscapedQuery(&document, middle).source,
                 PythonAutoCompleter::Escaped(PythonAutoCompleter::BuildQuery(&document, middle).source));
    }
};

KE2_TEST_CLASS(MelCompletionTest)
KE2_TEST_CLASS(PythonCompletionTest)

#include "test_completion.moc"
