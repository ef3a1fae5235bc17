// Loads the real plug-in, built against the OpenMaya shim, the way Maya's plug-in manager does.
#include "tests/support/temp_prefs.h"
#include "tests/support/test_registry.h"

#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtCore/QTimer>
#include <QAction>
#include <QtTest/QTest>
#include <QtWidgets/QPlainTextEdit>

#ifdef KE2_MAYA_PLUGIN
#include "tests/maya_shim/maya_shim_runtime.h"

#include <maya/MStatus.h>
#include <maya/MTypes.h>

#include <dlfcn.h>

#include <thread>

namespace shim = ke2::mayashim;
using shim::Kind;

namespace {
using Entry = MStatus (*)(MObject);
#define KE2_STRINGIFY2(x) #x
#define KE2_STRINGIFY(x) KE2_STRINGIFY2(x)
const QByteArray kNamespace = KE2_STRINGIFY(OPENMAYA_MAJOR_NAMESPACE);

// Maya finds the entry points by their C++ names: `name(MObject)`, mangled with MObject in the
// devkit's versioned namespace.
QByteArray entryName(const QByteArray &name)
{
    QByteArray nested;
    for (const QByteArray &part : kNamespace.split(':'))
        if (!part.isEmpty())
            nested += QByteArray::number(part.size()) + part;
    return "_Z" + QByteArray::number(name.size()) + name + "N" + nested + "7MObjectE";
}
const QString kExists = QStringLiteral("workspaceControl -q -exists KestrelEditor2Window");
const QString kRestore = QStringLiteral("workspaceControl -e -restore KestrelEditor2Window");
const QString kMenuItem = QStringLiteral("MayaWindow|mainWindowMenu|menuItem42");
} // namespace
#endif

class MayaPluginTest : public QObject {
    Q_OBJECT

#ifdef KE2_MAYA_PLUGIN
    ke2::test::TempPrefs m_prefs;
    QTemporaryDir m_files;
    void *m_library = nullptr;
    Entry m_initialize = nullptr, m_uninitialize = nullptr;
    bool m_loaded = false, m_batch = false, m_controlExists = false, m_collapsed = false, m_creationWorks = true;
    std::unique_ptr<QWidget> m_control;

    bool initialize() { return m_loaded = m_initialize(shim::pluginObject()); }
    bool uninitialize() { return !(m_loaded = !m_uninitialize(shim::pluginObject())); }
    shim::CommandRun run(const QStringList &arguments = {}) { return shim::runCommand("kestrelEditor2", arguments); }
    QString file()
    {
        QFile f(m_files.filePath("file.py"));
        f.open(QIODevice::WriteOnly);
        return f.fileName();
    }
    QWidget *window() const
    {
        const auto added = shim::addedToLayout();
        return added.isEmpty() ? nullptr : added.last().first;
    }
    // The workspace control commands of the show path, without the window's own title updates.
    static QStringList showPathCommands()
    {
        QStringList commands;
        for (const QString &text : shim::texts(Kind::Mel))
            if (text.startsWith("workspaceControl") && !text.contains(" -q -floating ")
                && !text.startsWith("workspaceControl -e -label"))
                commands.append(text);
        return commands;
    }
    // The window's output text (the window itself comes from the plug-in's own copy of the code).
    QPlainTextEdit *output() const
    {
        QWidget *shown = window();
        QPlainTextEdit *text = shown ? shown->findChild<QPlainTextEdit *>("OutputText") : nullptr;
        // The panel keeps output while hidden and gathers it until the event loop is idle; shown
        // as a user would see it, everything that has arrived is there.
        if (text && m_control && !m_control->isVisible())
            m_control->show();
        if (text)
            QMetaObject::invokeMethod(text, "FlushPendingOutput");
        return text;
    }
#endif

private slots:
    void init()
    {
#ifdef KE2_MAYA_PLUGIN
        shim::reset();
        m_batch = m_controlExists = m_collapsed = false;
        m_creationWorks = true;
        m_control = std::make_unique<QWidget>();
        shim::setCurrentParent(m_control.get());
        shim::setControl("KestrelEditor2Window", m_control.get());
        shim::setMelHandler([this](const QString &text) -> QVariant {
            m_controlExists = m_controlExists || (text.startsWith("workspaceControl -label") && m_creationWorks);
            const QVariantHash answers{{"about -batch", int(m_batch)}, {kExists, int(m_controlExists)},
                                       {"workspaceControl -q -collapse KestrelEditor2Window", int(m_collapsed)},
                                       {"internalVar -userPrefDir", m_prefs.userPrefDir()}, {"mayaDpiSetting -q -m;", 0},
                                       {"hxGetScriptEditorButtonName()", QString("scriptEditorButton")}};
            if (text.startsWith("hxCreateKestrelEditorMenuItem") || text.startsWith("hxGetMelInfo"))
                return text.startsWith("hxGetMelInfo") ? QVariant(QStringList{"ls", ""}) : QVariant(kMenuItem);
            return answers.value(text, QString());
        });
        shim::setPythonHandler([](const QString &) -> QVariant { return QString(); });
        m_library = dlopen(KE2_MAYA_PLUGIN, RTLD_NOW | RTLD_LOCAL);
        QVERIFY2(m_library, dlerror());
        m_initialize = reinterpret_cast<Entry>(dlsym(m_library, entryName("initializePlugin").constData()));
        m_uninitialize = reinterpret_cast<Entry>(dlsym(m_library, entryName("uninitializePlugin").constData()));
        QVERIFY(m_initialize && m_uninitialize);
#else
        QSKIP("the plug-in is built against a Maya devkit here, not the shim");
#endif
    }

    void cleanup()
    {
#ifdef KE2_MAYA_PLUGIN
        if (m_loaded)
            uninitialize();
        if (m_library)
            dlclose(m_library);
        m_library = nullptr;
        m_control.reset();
        shim::reset();
#endif
    }

#ifdef KE2_MAYA_PLUGIN
    void exportsOnlyTheEntrySymbols()
    {
        QProcess nm;
        nm.start("nm", {"-DC", "--defined-only", KE2_MAYA_PLUGIN});
        if (!nm.waitForFinished(30000) || nm.exitCode() != 0)
            QSKIP("nm is not available");
        QStringList names;
        for (const QString &line : QString::fromUtf8(nm.readAllStandardOutput()).split('\n', Qt::SkipEmptyParts))
            names.append(line.section(' ', 2)); // address, kind, then the demangled name
        names.sort();
        const QString object = QString::fromLatin1(kNamespace) + "::MObject";
        QCOMPARE(names, (QStringList{"ADSK_PLUGIN_SIGNATURE", "MApiVersion", "initializePlugin(" + object + ")",
                                     "uninitializePlugin(" + object + ")"}));
        // The version the headers were built with, in the form Maya reads.
        QCOMPARE(QByteArray(static_cast<const char *>(dlsym(m_library, "MApiVersion"))),
                 QByteArray::number(MAYA_API_VERSION));
    }

    void batchLoadIsInert()
    {
        m_batch = true;
        QVERIFY(initialize());
        QVERIFY(shim::registeredCommands().isEmpty());
        QCOMPARE(shim::callbackCount(), 0);
        QVERIFY(uninitialize());
        QCOMPARE(shim::texts(Kind::Mel), (QStringList{"about -batch", "about -batch"}));
        QVERIFY(shim::texts(Kind::Python).isEmpty());
    }

    void interactiveLoadAndUnload()
    {
        QVERIFY(initialize());
        QCOMPARE(shim::registeredCommands(), QStringList{"kestrelEditor2"});
        QCOMPARE(shim::callbackCount(), 2);
        const QStringList mel = shim::texts(Kind::Mel);
        QVERIFY(mel.value(1).startsWith("// Kestrel Editor 2")); // the embedded MEL script
        QVERIFY(shim::texts(Kind::Python).first().contains("class KestrelEditorHelpers"));
        QVERIFY(!window()); // nothing shown until the command runs
        shim::clearRecords();
        QVERIFY(uninitialize());
        QVERIFY(shim::registeredCommands().isEmpty());
        QCOMPARE(shim::callbackCount(), 0);
        QCOMPARE(shim::texts(Kind::Mel),
                 (QStringList{"about -batch", "deleteUI -mi " + kMenuItem,
                              "symbolButton -e -c \"ScriptEditor\" scriptEditorButton",
                              "symbolButton -e -ann \"Script Editor\" scriptEditorButton",
                              "workspaceControl -e -close KestrelEditor2Window"}));
        QVERIFY(shim::texts(Kind::Error).isEmpty());
    }

    void failuresKeepMayaConsistent()
    {
        shim::failNextRegistration();
        QVERIFY(!initialize());
        QCOMPARE(shim::texts(Kind::Error).last(), QString("Failed to register 'kestrelEditor2' command: Failure"));
        QCOMPARE(shim::callbackCount(), 0);
        shim::failNextPluginFunctionSet();
        QVERIFY(!initialize());
        QCOMPARE(shim::texts(Kind::Error).last(), QString("Failed to initialize plugin: Failure"));
        QVERIFY(initialize());
        shim::failNextPluginFunctionSet();
        QVERIFY(!uninitialize());
        QCOMPARE(shim::texts(Kind::Error).last(), QString("Failed to uninitialize plugin: Failure"));
        QCOMPARE(shim::registeredCommands(), QStringList{"kestrelEditor2"}); // nothing was undone
        QVERIFY(uninitialize());
        shim::clearRecords();
        shim::failCallbacks(true);
        QVERIFY(initialize()); // the plug-in still loads
        QVERIFY(shim::texts(Kind::Error).contains("[KestrelEditor2] Failed to add callbacks"));
        shim::failCallbacks(false);
        QVERIFY(uninitialize());
        QVERIFY(initialize() && run().ok);
        shim::failCallbacks(true);
        QVERIFY(!uninitialize()); // unloading stops early and keeps everything
        QCOMPARE(shim::texts(Kind::Error).last(), QString("[KestrelEditor2] Failed to remove callbacks"));
        QVERIFY(window() && shim::registeredCommands() == QStringList{"kestrelEditor2"});
        shim::failCallbacks(false);
    }

    void flagsInTableOrder_data()
    {
        QTest::addColumn<QStringList>("arguments");
        QTest::addColumn<bool>("ok");
        QTest::addColumn<QString>("result");
        QTest::addColumn<QStringList>("mel");
        QTest::addColumn<QString>("error");
        const QStringList clear{"hxClearExistingHistory()"}, none;
        QTest::newRow("-v") << QStringList{"-v"} << true << "2.3.4" << none << "";
        QTest::newRow("-version wins over -clearOutput")
            << QStringList{"-clearOutput", "-version"} << true << "2.3.4" << none << "";
        QTest::newRow("-clearOutput without window clears the history")
            << QStringList{"-clearOutput"} << true << "" << clear << "";
        QTest::newRow("-clearOutput wins over -openFile") << QStringList{"-of", "missing.py", "-co"} << true << ""
                                                          << clear << "";
        QTest::newRow("-openFile empty does nothing") << QStringList{"-openFile", ""} << true << "" << none << "";
        QTest::newRow("-openFile missing path")
            << QStringList{"-openFile", "@missing.py"} << false << "" << none << "File not found: %1";
        QTest::newRow("-openFile missing path with accents")
            << QStringList{"-openFile", "@caf\u00e9 \u00fc\u4e2d.py"} << false << "" << none << "File not found: %1";
        QTest::newRow("-openFile directory") << QStringList{"-openFile", "@"} << false << "" << none
                                             << "Invalid file path: %1";
        QTest::newRow("-openFile without window") << QStringList{"-of", "@file.py"} << false << "" << none
                                                  << "Kestrel Editor 2 GUI has not been initialized.";
        QTest::newRow("unknown flag fails") << QStringList{"-bogus"} << false << "" << none << "";
        QTest::newRow("-openFile needs its argument") << QStringList{"-openFile"} << false << "" << none << "";
    }
    void flagsInTableOrder()
    {
        QFETCH(QStringList, arguments);
        QFETCH(bool, ok);
        QFETCH(QString, result);
        QFETCH(QStringList, mel);
        QFETCH(QString, error);
        file();
        QString path;
        for (QString &argument : arguments)
            if (argument.startsWith('@'))
                argument = path = m_files.path() + (argument.size() > 1 ? "/" + argument.mid(1) : QString());
        QVERIFY(initialize());
        shim::clearRecords();
        const shim::CommandRun outcome = run(arguments);
        QCOMPARE(outcome.ok, ok);
        QCOMPARE(outcome.result, result);
        QCOMPARE(shim::texts(Kind::Mel), mel);
        QCOMPARE(shim::texts(Kind::Error), error.isEmpty() ? QStringList()
                                                            : QStringList{"[KestrelEditor2] " + error.replace("%1", path)});
        QVERIFY(!window()); // no flag ever creates the window
    }

    void showPath_data()
    {
        QTest::addColumn<int>("control"); // 0: none, 1: expanded, 2: collapsed, -1: cannot be created
        QTest::addColumn<QStringList>("mel");
        QTest::addColumn<QStringList>("errors");
        const QString collapse = "workspaceControl -q -collapse KestrelEditor2Window";
        QTest::newRow("the first show creates the control")
            << 0 << QStringList{kExists, kExists, // the show path asks, then the creation itself
                                "workspaceControl -label \"Kestrel Editor 2\" -retain 1 -floating 1 -visible 0"
                                " -requiredPlugin KestrelEditor2 -checksPlugins 1 KestrelEditor2Window",
                                kExists, "workspaceControl -e -uiScript kestrelEditor2 KestrelEditor2Window", kRestore}
            << QStringList();
        QTest::newRow("an expanded control is restored") << 1 << QStringList{kExists, collapse, kRestore} << QStringList();
        QTest::newRow("a collapsed control stays collapsed") << 2 << QStringList{kExists, collapse} << QStringList();
        QTest::newRow("a control that cannot be created")
            << -1 << QStringList() << QStringList{"[KestrelEditor2] Failed to create workspace control",
                                                  "[KestrelEditor2] KestrelEditor2 setup failed. (See script editor for details"};
    }
    void showPath()
    {
        QFETCH(int, control);
        QFETCH(QStringList, mel);
        QFETCH(QStringList, errors);
        m_controlExists = control > 0;
        m_collapsed = control == 2;
        m_creationWorks = control >= 0;
        QVERIFY(initialize());
        shim::clearRecords();
        QCOMPARE(run().ok, errors.isEmpty());
        QCOMPARE(shim::texts(Kind::Error), errors);
        QCOMPARE(window() != nullptr, errors.isEmpty());
        if (!window())
            return;
        QCOMPARE(showPathCommands(), mel);
        QCOMPARE(window()->parentWidget(), m_control.get()); // found by the control's name
        shim::clearRecords();
        QVERIFY(run().ok);
        QCOMPARE(showPathCommands(), (QStringList{kExists, kRestore}));
        QCOMPARE(shim::addedToLayout().size(), 1);
    }

    void outputIsFramedAndClearedAndDiesWithThePlugin()
    {
        QVERIFY(initialize() && run().ok);
        QPointer<QWidget> editor = window();
        QPointer<QPlainTextEdit> text = output();
        QVERIFY(editor && text);
        QVERIFY(run({"-openFile", file()}).ok);
        // The Maya callback reaches the framing: the comment style follows the last echoed line.
        for (const auto &message : QVector<QPair<QString, int>>{
                 {"careful", 3}, {"print(1)\n", 0}, {"careful", 3}, {"note", 2}, {"Traceback (most recent call last)", 6},
                 {"sphere;\n", 0}, {"careful", 3}, {"3", 5}, {"hi\n", 1}, {"%1", 4}, {"x;\n", 1}, {"3", 5}})
            shim::fireCommandOutput(message.first, message.second);
        QCOMPARE(output()->toPlainText(), QString("// Warning: careful //\nprint(1)\n# Warning: careful #\n# note #\n"
                                                "sphere;\n// Warning: careful //\n// Result: 3 //\n"
                                                "hi\n# Error: %1 #\nx;\n// Result: 3 //\n"));
        QVERIFY(run({"-clearOutput"}).ok);
        QCOMPARE(output()->toPlainText(), QString());
        QVERIFY(!shim::texts(Kind::Mel).contains("hxClearExistingHistory()"));
        QVERIFY(uninitialize());
        QVERIFY(!editor); // deleted with the plug-in's teardown
    }

    // The debugger's plug-in path: the run is queued into Maya's Python with the plug-in's own
    // command as its pause hook; a stop reaches the window through that command, which returns
    // the user's action once it is chosen, the window's loop turning meanwhile.
    void debugRunPausesAndResumesThroughTheCommand()
    {
        QVERIFY(initialize() && run().ok);
        QWidget *editorWindow = window();
        QVERIFY(editorWindow);
        shim::setPythonHandler([](const QString &text) -> QVariant {
            if (text.startsWith("int('KestrelEditorDebugger' in globals())") || text.startsWith("KestrelEditorDebugger.set_"))
                return 1;
            return QString();
        });
        const auto action = [editorWindow](const QString &text) -> QAction * {
            for (QAction *candidate : editorWindow->actions())
                if (candidate->text() == text)
                    return candidate;
            return nullptr;
        };
        QAction *debug = action("Debug");
        QAction *stepOver = action("Step Over");
        QVERIFY(action("New Python Buffer") && debug && stepOver);
        action("New Python Buffer")->trigger();
        m_control->show(); // the new buffer is the shown tab of its group
        QPlainTextEdit *buffer = nullptr;
        for (QPlainTextEdit *candidate : editorWindow->findChildren<QPlainTextEdit *>())
            if (QByteArray(candidate->metaObject()->className()) == "ke2::CodeEditor" && candidate->isVisible())
                buffer = candidate;
        QVERIFY(buffer);
        buffer->setPlainText("x = 1\nprint(x)\n");
        shim::clearRecords();
        debug->trigger();
        QVERIFY(shim::texts(Kind::Python).contains(
            "KestrelEditorDebugger.pause_hook = lambda info: __import__('maya.cmds', fromlist=['cmds'])"
            ".kestrelEditor2(debugPause=info)"));
        shim::runIdle();
        const QStringList queued = shim::texts(Kind::PythonOnIdle).filter("KestrelEditorDebugger.run(");
        QCOMPARE(queued.size(), 1);
        QVERIFY2(queued.first().startsWith("KestrelEditorDebugger.run('x = 1\\nprint(x)\\n', '"), qPrintable(queued.first()));
        QVERIFY(!action("Step Over")->isEnabled());

        // Maya runs the script, which stops on line 2: the command waits for the user.
        bool enabledWhilePaused = false;
        QTimer::singleShot(50, editorWindow, [&] {
            enabledWhilePaused = stepOver->isEnabled() && debug->text() == "Continue";
            stepOver->trigger();
        });
        const shim::CommandRun paused = run({"-debugPause", "{\"event\": \"paused\", \"reason\": \"breakpoint\", "
                                                           "\"frames\": [{\"name\": \"<module>\", \"file\": \"<maya console>\", \"line\": 2}]}"});
        QVERIFY(paused.ok);
        QCOMPARE(paused.result, QString("over"));
        QVERIFY(enabledWhilePaused);
        QVERIFY(!stepOver->isEnabled());
        QVERIFY(run({"-debugPause", "{\"event\": \"ended\"}"}).ok);
        QVERIFY(debug->isEnabled() && debug->text() == "Debug");

        // Esc in the window while a stop waits (Maya's Esc watch is idle then) ends the run as
        // interrupted.
        debug->trigger();
        QTimer::singleShot(50, editorWindow, [&] { QTest::keyClick(editorWindow, Qt::Key_Escape); });
        const shim::CommandRun interrupted = run({"-debugPause", "{\"event\": \"paused\", \"reason\": \"step\", "
                                                                "\"frames\": []}"});
        QCOMPARE(interrupted.result, QString("interrupt"));
        QVERIFY(run({"-debugPause", "{\"event\": \"ended\"}"}).ok);

        // Unloading while a stop waits stops the run and keeps the plug-in until it has ended.
        debug->trigger();
        bool unloaded = true;
        QTimer::singleShot(50, editorWindow, [&] { unloaded = uninitialize(); });
        const shim::CommandRun stopped = run({"-debugPause", "{\"event\": \"paused\", \"reason\": \"step\", "
                                                            "\"frames\": []}"});
        QCOMPARE(stopped.result, QString("stop"));
        QVERIFY(!unloaded);
        QVERIFY(shim::texts(Kind::Warning).contains("[KestrelEditor2] " + QString(
            "A debug run was paused: it has been stopped. Unload the plug-in again once it has ended.")));
        QVERIFY(run({"-debugPause", "{\"event\": \"ended\"}"}).ok);
        QVERIFY(uninitialize());
    }

    void settingsFromThePreferences_data()
    {
        QTest::addColumn<QByteArray>("preferences");
        QTest::addColumn<int>("echoAllLines");
        QTest::addColumn<QString>("output");
        const QString warned = "1\n# Warning: careful #\n";
        QTest::newRow("minimal trace drops echoes, not display lines") << QByteArray() << 0 << warned;
        QTest::newRow("echo-all on turns minimal trace off") << QByteArray() << 1 << "print(1)\n" + warned;
        QTest::newRow("echo-all switched off at start-up keeps minimal trace")
            << QByteArray("outputDisableEchoAllOnStartup=true\n") << 1 << warned;
    }
    void settingsFromThePreferences()
    {
        QFETCH(QByteArray, preferences);
        QFETCH(int, echoAllLines);
        QFETCH(QString, output);
        QDir().mkpath(m_prefs.configDir());
        QFile settings(m_prefs.configDir() + "/kestrelEditor2.ini");
        QVERIFY(settings.open(QIODevice::WriteOnly));
        settings.write("[main]\nsuppressStackWindow=false\n[preferences]\noutputMinimalTrace=true\n"
                       "overrideScriptEditorButton=false\npythonImportPyMelOnLoad=true\n" + preferences);
        settings.close();
        shim::optionVars().insert("echoAllLines", echoAllLines);
        QVERIFY(initialize());
        shim::runIdle();
        const QStringList idle{"commandEcho -state 0", "scriptEditorInfo -ssw 0"};
        QCOMPARE(shim::texts(Kind::MelOnIdle), preferences.isEmpty() ? QStringList(idle.mid(1)) : idle);
        QVERIFY(!shim::texts(Kind::Mel).contains("hxGetScriptEditorButtonName()"));
        QCOMPARE(shim::texts(Kind::Python).last(), QString("import pymel.core"));
        QVERIFY(run().ok && window());
        shim::fireCommandOutput("print(1)\n", 0);
        shim::fireCommandOutput("1\n", 1);
        shim::fireCommandOutput("careful", 3);
        QCOMPARE(this->output()->toPlainText(), output);
        QFile::remove(settings.fileName());
    }

    // Maya prints from any thread; the framing and the panel see it on the user-interface thread
    // only, in the order it was printed, and whatever is still on its way dies with the unload.
    void outputFromOtherThreadsArrivesOnTheUiThreadInOrder()
    {
        QVERIFY(initialize() && run().ok);
        QPointer<QWidget> editor = window();
        QVERIFY(output());
        std::thread worker([] {
            for (int i = 0; i < 100; ++i)
                shim::fireCommandOutput(QString("line %1\n").arg(i), 1);
            shim::fireCommandOutput("careful", 3);
        });
        worker.join();
        QCOMPARE(output()->toPlainText(), QString()); // nothing was framed or shown on the worker
        shim::fireCommandOutput("sphere;\n", 1); // printed later, on the user-interface thread
        QString expected;
        for (int i = 0; i < 100; ++i)
            expected += QString("line %1\n").arg(i);
        expected += "# Warning: careful #\nsphere;\n";
        QCOMPARE(output()->toPlainText(), expected);
        // Only the queued calls run: a full event loop would let the style cache state that points
        // into the plug-in, which dies with the library at the test's unload.
        std::thread([] { shim::fireCommandOutput("late\n", 1); }).join();
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall);
        QCOMPARE(output()->toPlainText(), expected + "late\n");
        std::thread([] { shim::fireCommandOutput("after unload\n", 1); }).join();
        QVERIFY(uninitialize());
        QVERIFY(!editor);
        QCoreApplication::sendPostedEvents(nullptr, QEvent::MetaCall); // the wake-up went with the unload
    }

    // Destructors never call into Maya: when Maya exits without unloading the plug-in, its
    // callbacks are Maya's to drop, not the static host's while the library goes away.
    void exitWithoutUnloadLeavesTheCallbacksToMaya()
    {
        QVERIFY(initialize());
        QCOMPARE(shim::callbackCount(), 2);
        m_loaded = false;
        dlclose(m_library); // runs the plug-in's static destructors, as at Maya's exit
        m_library = nullptr;
        QCOMPARE(shim::callbackCount(), 2);
    }

    void quitEventTearsTheWindowDown()
    {
        QVERIFY(initialize() && run().ok);
        QPointer<QWidget> editor = window();
        QVERIFY(editor);
        shim::fireEvent("quitApplication");
        QVERIFY(!editor);
        QCOMPARE(showPathCommands().last(), QString("workspaceControl -e -close KestrelEditor2Window"));
        QCOMPARE(shim::callbackCount(), 2); // Maya is ending; the callbacks stay
        shim::fireCommandOutput("after quit", 2); // no window: ignored, nothing crashes
        QVERIFY(!run({"-openFile", file()}).ok);
    }
#endif
};

KE2_TEST_CLASS(MayaPluginTest)
#include "test_maya_plugin.moc"
