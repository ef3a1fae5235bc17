// The Maya module as `cmake --install` lays it out, from the plug-in built here.
#include "tests/support/test_registry.h"

#include <QtCore/QDirIterator>
#include <QtCore/QProcess>
#include <QtCore/QTemporaryDir>
#include <QtTest/QTest>

class MayaModuleTest : public QObject {
    Q_OBJECT

#ifdef KE2_MAYA_PLUGIN
    QTemporaryDir m_prefix;
    QStringList m_files;
    QStringList m_modLines;
#endif

private slots:
    void initTestCase()
    {
#ifdef KE2_MAYA_PLUGIN
        QProcess cmake;
        cmake.start(KE2_CMAKE_COMMAND, {"--install", KE2_BINARY_DIR, "--prefix", m_prefix.path(), "--component", "maya_module"});
        QVERIFY(cmake.waitForFinished(120000));
        QVERIFY2(cmake.exitCode() == 0, cmake.readAllStandardError().constData());
        QDirIterator it(m_prefix.path(), QDir::Files, QDirIterator::Subdirectories);
        while (it.hasNext())
            m_files.append(QDir(m_prefix.path()).relativeFilePath(it.next()));
        m_files.sort();
        QFile mod(m_prefix.filePath("KestrelEditor2/KestrelEditor2.mod"));
        QVERIFY(mod.open(QIODevice::ReadOnly));
        m_modLines = QString::fromUtf8(mod.readAll()).split('\n', Qt::SkipEmptyParts);
#else
        QSKIP("the plug-in is built against a Maya devkit here, not the stand-in");
#endif
    }

#ifdef KE2_MAYA_PLUGIN
    void layout()
    {
        const QString plugin = QStringLiteral("KestrelEditor2/plug-ins/linux-qt%1/KestrelEditor2.so").arg(QT_VERSION_MAJOR);
        QCOMPARE(m_files, (QStringList{"KestrelEditor2/KestrelEditor2.mod", "KestrelEditor2/install_kestrel_editor2.mel", plugin}));
        QVERIFY(QFileInfo(m_prefix.filePath(plugin)).size() > 0);
    }

    // Each Maya version and platform finds one entry, pointing at the plug-in built on its Qt.
    void modFileLines_data()
    {
        QTest::addColumn<QString>("maya");
        QTest::addColumn<QString>("platform");
        QTest::addColumn<QString>("folder");
        QTest::newRow("2022 Windows") << "2022" << "win64" << "plug-ins/win64-qt5";
        QTest::newRow("2023 Linux") << "2023" << "linux" << "plug-ins/linux-qt5";
        QTest::newRow("2024 macOS") << "2024" << "mac" << "plug-ins/mac-qt5";
        QTest::newRow("2025 Linux") << "2025" << "linux" << "plug-ins/linux-qt6";
        QTest::newRow("2026 Windows") << "2026" << "win64" << "plug-ins/win64-qt6";
        QTest::newRow("2027 macOS") << "2027" << "mac" << "plug-ins/mac-qt6";
    }
    void modFileLines()
    {
        QFETCH(QString, maya);
        QFETCH(QString, platform);
        QFETCH(QString, folder);
        const QString entry = QStringLiteral("+ MAYAVERSION:%1 PLATFORM:%2 KestrelEditor2 2.3.4 .").arg(maya, platform);
        QCOMPARE(m_modLines.count(entry), 1);
        QCOMPARE(m_modLines.value(m_modLines.indexOf(entry) + 1), "plug-ins: " + folder);
    }

    void everyLineIsAnEntryOrItsPluginFolder()
    {
        QCOMPARE(m_modLines.size(), 2 * 3 * 6); // three platforms, six Maya versions
        for (int i = 0; i < m_modLines.size(); i += 2) {
            QVERIFY2(m_modLines[i].startsWith("+ MAYAVERSION:"), qPrintable(m_modLines[i]));
            QVERIFY2(m_modLines[i + 1].startsWith("plug-ins: plug-ins/"), qPrintable(m_modLines[i + 1]));
        }
    }
#endif
};

KE2_TEST_CLASS(MayaModuleTest)
#include "test_maya_module.moc"
