// Running the user's code, the host's existing history, the shelf and the file browser.
#include "plugin/host_bridge.h"

#include <QtCore/QDir>
#include <QtCore/QFileInfo>
#include <QtCore/QProcess>
#include <QtCore/QRegularExpression>
#include <QtCore/QUrl>
#include <QtGui/QDesktopServices>

namespace ke2::HostBridge {

bool isBareMelVariable(const QString &text)
{
    // "$" also matches before a final newline: a variable selected with its line end is still
    // a variable alone.
    static const QRegularExpression bareVariable(QStringLiteral("^\\$[a-zA-Z0-9_]+$"));
    return bareVariable.match(text).hasMatch();
}

void executeMelText(const QString &text)
{
    if (isBareMelVariable(text)) {
        // A variable typed alone shows its value, as an interactive prompt would.
        executeMelOnIdle(QStringLiteral("print(") + text + QStringLiteral("); ")
                             + QStringLiteral("print(\"\\n\")"),
                         false);
        return;
    }
    executeMelOnIdle(text, true);
}

void executePythonText(const QString &text)
{
    executePythonOnIdle(text, true);
}

QString existingHistory()
{
    QString history;
    if (!executeMel(QStringLiteral("hxGetExistingHistory()"), history))
        return QString();
    return history;
}

void clearExistingHistory()
{
    executeMel(QStringLiteral("hxClearExistingHistory()"));
}

void addToShelf(const QString &label, const QString &code, int kind)
{
    // The code travels inside a MEL string literal on one line.
    QString escaped = code;
    escaped.replace(QChar(0x2029), QLatin1Char('\n'));
    escaped.replace(QLatin1Char('\\'), QLatin1String("\\\\"));
    escaped.replace(QLatin1Char('\n'), QLatin1String("\\n"));
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    executeMelOnIdle(QStringLiteral("scriptToShelf(\"%1\", \"%2\", %3)").arg(label, escaped, QString::number(kind)),
                     false);
}

void sourceScript(const QString &path)
{
    if (path.isEmpty())
        return;
    QString escaped = QDir::fromNativeSeparators(path);
    escaped.replace(QLatin1Char('"'), QLatin1String("\\\""));
    executeMelOnIdle(QStringLiteral("source \"%1\";").arg(escaped), true);
}

bool importPyMel()
{
    // Not quiet: the user should see what importing PyMEL prints.
    return executePython(QStringLiteral("import pymel.core"));
}

void showInFileBrowser(const QString &path)
{
    if (path.isEmpty())
        return;
    const QFileInfo info(path);
    const QString native = QDir::toNativeSeparators(path);
    const QStringList arguments = info.isDir() ? QStringList{native} : QStringList{QStringLiteral("/select,") + native};
    if (QProcess::startDetached(QStringLiteral("explorer"), arguments))
        return;
    // No "explorer" here: open the folder with the desktop's own file manager.
    const QString folder = info.isDir() ? info.absoluteFilePath() : info.absolutePath();
    QDesktopServices::openUrl(QUrl::fromLocalFile(folder));
}

} // namespace ke2::HostBridge
