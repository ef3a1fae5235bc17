#include "tests/support/test_registry.h"

#include <QtCore/QDir>
#include <QtCore/QDirIterator>
#include <QtCore/QFile>
#include <QtCore/QRegularExpression>
#include <QtGui/QIcon>
#include <QtGui/QPixmap>
#include <QtTest/QtTest>

namespace {

const QString sourceRoot()
{
    return QDir::cleanPath(QStringLiteral(KE2_TEST_DATA_DIR "/../../.."));
}

} // namespace

// Every icon the code asks for by resource path must exist and decode; a missing one shows as a
// blank button, which nobody notices until a user does.
class TestIcons : public QObject {
    Q_OBJECT
private slots:
    void iconsNamedInTheSourcesExist()
    {
        const QRegularExpression pattern(QStringLiteral(":/ke2_icons/([A-Za-z0-9_.@-]+\\.png)"));
        QStringList missing;
        int scanned = 0;
        for (const QString &folder : {QStringLiteral("plugin"), QStringLiteral("config"), QStringLiteral("language"),
                                     QStringLiteral("editor"), QStringLiteral("groups"), QStringLiteral("output"),
                                     QStringLiteral("views"), QStringLiteral("overlays"), QStringLiteral("preferences"),
                                     QStringLiteral("shell"), QStringLiteral("app")}) {
            QDirIterator it(sourceRoot() + QLatin1Char('/') + folder, {QStringLiteral("*.cpp"), QStringLiteral("*.h")},
                            QDir::Files, QDirIterator::Subdirectories);
            while (it.hasNext()) {
                QFile file(it.next());
                QVERIFY(file.open(QIODevice::ReadOnly));
                ++scanned;
                const QString text = QString::fromUtf8(file.readAll());
                auto matches = pattern.globalMatch(text);
                while (matches.hasNext()) {
                    const QString path = QStringLiteral(":/ke2_icons/") + matches.next().captured(1);
                    if (QPixmap(path).isNull())
                        missing << QStringLiteral("%1 (%2)").arg(path, QFileInfo(file.fileName()).fileName());
                }
            }
        }
        QVERIFY2(scanned > 20, qPrintable(sourceRoot()));
        QVERIFY2(missing.isEmpty(), qPrintable(missing.join(QStringLiteral(", "))));
    }

    void namedIconsDecodeAtBothScales_data()
    {
        QTest::addColumn<QString>("name");
        // The names other parts of the window ask for, including those whose code comes later.
        for (const char *name :
             {"clear_field", "close_white", "collapse", "delete_highlight", "error", "execute", "execute_all",
              "execute_line", "folder_closed", "folder_opened", "list_code_editors", "match_case", "match_word",
              "mel", "mel_icon", "modified", "new_file", "new_folder", "next", "python", "python_icon", "refresh",
              "regular_expression", "replace", "replace_all", "scroll_left", "scroll_right", "text", "text_icon",
              "view_collapsed", "view_expanded", "warning", "write_to_file", "mel_global_proc", "mel_proc",
              "mel_global_var", "python_import", "python_main", "python_method", "python_static_method",
              "python_class_method", "python_class", "python_variable", "python_class_variable", "sort-by-alphabet"})
            QTest::newRow(name) << QString::fromLatin1(name);
    }
    void namedIconsDecodeAtBothScales()
    {
        QFETCH(QString, name);
        const QPixmap normal(QStringLiteral(":/ke2_icons/%1.png").arg(name));
        const QPixmap doubled(QStringLiteral(":/ke2_icons/%1@2x.png").arg(name));
        QVERIFY(!normal.isNull());
        QCOMPARE(doubled.width(), normal.width() * 2);
        // Not blank: some pixel is drawn.
        const QImage image = normal.toImage();
        bool drawn = false;
        for (int y = 0; y < image.height() && !drawn; ++y)
            for (int x = 0; x < image.width() && !drawn; ++x)
                drawn = qAlpha(image.pixel(x, y)) > 0;
        QVERIFY(drawn);
    }
};

KE2_TEST_CLASS(TestIcons)
#include "test_icons.moc"
