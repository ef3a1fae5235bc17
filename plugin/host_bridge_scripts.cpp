// Runs the compiled-in MEL and Python scripts into the host's interpreters.
#include "plugin/host_bridge.h"

#include "plugin/host.h"

#include <QtCore/QFile>

namespace ke2::HostBridge {
namespace {

bool readResource(const QString &path, QString &text)
{
    QFile file(path);
    if (!file.open(QIODevice::ReadOnly))
        return false;
    const QByteArray bytes = file.readAll();
    text = QString::fromLatin1(bytes.constData(), bytes.size());
    return true;
}

} // namespace

void loadEmbeddedScripts()
{
    Host *active = host();
    if (!active)
        return;
    QString text;
    if (active->hasFeature(Host::Feature::Mel)) {
        if (readResource(melScriptResource(), text))
            executeMel(text);
        else
            showError(QStringLiteral("Failed to load MEL scripts."));
    }
    if (readResource(pythonHelpersResource(), text))
        executePython(text);
    else
        showError(QStringLiteral("Failed to load Python helpers."));
    if (readResource(pythonParserResource(), text)) {
        executePython(text);
        executePython(QStringLiteral("KestrelEditorParser.initialize()"));
    } else {
        showError(QStringLiteral("Failed to load Python parser."));
    }
}

} // namespace ke2::HostBridge
