#include "app/check_files.h"

#include "editor/code_editor_language.h"
#include "language/mel_parser.h"
#include "language/python_parser.h"
#include "shell/text_file.h"

#include <QtCore/QFileInfo>

#include <algorithm>

namespace ke2 {

namespace {

// 1-based line and column of `offset` in `text`.
QPair<int, int> lineAndColumn(const QVector<int> &lineStarts, int offset)
{
    const auto next = std::upper_bound(lineStarts.begin(), lineStarts.end(), offset);
    const int line = int(next - lineStarts.begin()); // lines whose start is at or before offset
    return {line, offset - lineStarts.at(line - 1) + 1};
}

} // namespace

int checkFiles(const QStringList &paths, const std::function<void(const QString &)> &write,
               const std::function<void(const QString &)> &fail)
{
    bool badInput = false;
    bool errors = false;
    for (const QString &path : paths) {
        if (QFileInfo(path).isDir()) {
            fail(QStringLiteral("kestrel-editor: %1: is a directory").arg(path));
            badInput = true;
            continue;
        }
        QString text;
        TextFileFormat format;
        QString why;
        if (!TextFile::Read(path, true, text, format, nullptr, &why)) {
            fail(QStringLiteral("kestrel-editor: %1: cannot be read (%2)").arg(path, why));
            badInput = true;
            continue;
        }
        const CodeEditorLanguage language = languageForPath(path);
        MelParser mel;
        PythonParser python;
        BaseParser *parser = nullptr;
        if (language == LANGUAGE_MEL) {
            // No host here: the checks of commands and flags need one.
            mel.SetLinting(true, nullptr);
            parser = &mel;
        } else if (language == LANGUAGE_PYTHON) {
            parser = &python;
        } else {
            continue;
        }
        parser->Parse(text, path);
        const QString &parsed = parser->Text();
        QVector<int> lineStarts{0};
        for (int i = 0; i < parsed.size(); ++i) {
            if (parsed.at(i) == QLatin1Char('\n'))
                lineStarts.append(i + 1);
        }
        struct Entry {
            int offset;
            bool error;
            QString message;
        };
        QVector<Entry> entries;
        for (const Diagnostic *d : parser->Errors())
            entries.append({d->start, true, d->message});
        for (const Diagnostic *d : parser->Warnings())
            entries.append({d->start, false, d->message});
        std::stable_sort(entries.begin(), entries.end(), [](const Entry &a, const Entry &b) { return a.offset < b.offset; });
        for (const Entry &entry : qAsConst(entries)) {
            const int offset = std::clamp(entry.offset, 0, int(parsed.size()) - 1);
            const QPair<int, int> where = lineAndColumn(lineStarts, offset);
            write(QStringLiteral("%1:%2:%3: %4: %5\n")
                      .arg(path, QString::number(where.first), QString::number(where.second),
                           entry.error ? QStringLiteral("error") : QStringLiteral("warning"), entry.message));
            errors = errors || entry.error;
        }
    }
    if (badInput)
        return CheckBadInput;
    return errors ? CheckFoundErrors : CheckClean;
}

} // namespace ke2
