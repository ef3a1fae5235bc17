#include "shell/file_dialog_rules.h"

namespace ke2 {

namespace FileDialogRules {

namespace {

QString melFilter() { return QStringLiteral("MEL (*.mel)"); }
QString pythonFilter() { return QStringLiteral("Python (*.py *.pyw *.pyi)"); }
QString allFilesFilter() { return QStringLiteral("All Files(*.*)"); }

bool endsWithAny(const QString &path, std::initializer_list<const char *> suffixes)
{
    for (const char *suffix : suffixes) {
        if (path.endsWith(QLatin1String(suffix), Qt::CaseInsensitive))
            return true;
    }
    return false;
}

} // namespace

QStringList OpenFilters()
{
    return {QStringLiteral("Script Files(*.mel *.py *.pyw *.pyi)"), melFilter(), pythonFilter(), allFilesFilter()};
}

QStringList SaveFilters()
{
    return {melFilter(), pythonFilter(), allFilesFilter()};
}

QString SaveFilterFor(CodeEditorLanguage language)
{
    switch (language) {
    case LANGUAGE_MEL:
        return melFilter();
    case LANGUAGE_PYTHON:
        return pythonFilter();
    case LANGUAGE_TEXT:
        break;
    }
    return allFilesFilter();
}

QStringList SourceScriptFilters()
{
    return {melFilter(), allFilesFilter()};
}

QString Join(const QStringList &filters)
{
    return filters.join(QStringLiteral(";;"));
}

QString ApplySuffixRule(const QString &path, const QString &selectedFilter)
{
    if (path.isEmpty())
        return path;
    if (selectedFilter.startsWith(QLatin1String("MEL")) && !endsWithAny(path, {".mel"}))
        return path + QStringLiteral(".mel");
    if (selectedFilter.startsWith(QLatin1String("Python")) && !endsWithAny(path, {".py", ".pyw", ".pyi"}))
        return path + QStringLiteral(".py");
    return path;
}

} // namespace FileDialogRules

} // namespace ke2
