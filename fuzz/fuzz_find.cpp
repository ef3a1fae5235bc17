// Find and replace on any text and pattern, plain or regular: the matches equal a reference
// global match of each line, and Replace All equals the reference replacement.

#include "editor/text_search.h"
#include "fuzz/fuzz_support.h"

using namespace ke2;

namespace {

// A line without its end: a '\r' before the '\n' (or the end) belongs to the line end, as in a file with
// Windows line ends.
QString content(const QString &text, int lineStart, int lineEnd)
{
    if (lineEnd > lineStart && text.at(lineEnd - 1) == QLatin1Char('\r'))
        --lineEnd;
    return text.mid(lineStart, lineEnd - lineStart);
}

// Every match as the expression engine's own global match finds it, line by line (a match never
// spans a line break, and anchors see one line).
QVector<TextMatch> referenceMatches(const QString &text, const QRegularExpression &regex)
{
    QVector<TextMatch> matches;
    int lineStart = 0;
    for (;;) {
        int lineEnd = text.indexOf(QLatin1Char('\n'), lineStart);
        const bool last = lineEnd < 0;
        if (last)
            lineEnd = text.size();
        const QString line = content(text, lineStart, lineEnd);
        QRegularExpressionMatchIterator it = regex.globalMatch(line);
        int previousEnd = -1;
        while (it.hasNext()) {
            const QRegularExpressionMatch match = it.next();
            // The editor never finds an empty match where the previous match ended ("x*" in
            // "xx" is one match, not two), so that replacing can never loop on one spot.
            if (match.capturedLength() == 0 && match.capturedStart() == previousEnd)
                continue;
            previousEnd = int(match.capturedEnd());
            matches.append({lineStart + int(match.capturedStart()), int(match.capturedLength())});
        }
        if (last)
            break;
        lineStart = lineEnd + 1;
    }
    return matches;
}

// The replace template read independently: "\\", "\n", "\t", "\0"-"\9" up to the group count,
// "$0"; everything else as typed.
QString referenceExpand(const QString &replaceText, const QRegularExpressionMatch &match)
{
    QString out;
    for (int i = 0; i < replaceText.size(); ++i) {
        const QChar c = replaceText.at(i);
        const QChar next = i + 1 < replaceText.size() ? replaceText.at(i + 1) : QChar();
        if (c == QLatin1Char('\\') && (next == QLatin1Char('\\') || next == QLatin1Char('n') || next == QLatin1Char('t'))) {
            out += next == QLatin1Char('n') ? QChar(QLatin1Char('\n')) : next == QLatin1Char('t') ? QChar(QLatin1Char('\t')) : next;
            ++i;
        } else if (c == QLatin1Char('\\') && next.isDigit() && next.unicode() < 128 &&
                   next.unicode() - '0' <= match.lastCapturedIndex()) {
            out += match.captured(next.unicode() - '0');
            ++i;
        } else if (c == QLatin1Char('$') && next == QLatin1Char('0')) {
            out += match.captured(0);
            ++i;
        } else {
            out += c;
        }
    }
    return out;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    FuzzedDataProvider input(data, size);
    const bool regular = input.ConsumeBool();
    const bool matchCase = input.ConsumeBool();
    const bool wholeWord = input.ConsumeBool();
    const bool asTemplate = regular && input.ConsumeBool();
    const QString findText = ke2fuzz::text(input.ConsumeRandomLengthString(32));
    const QString replaceText = ke2fuzz::text(input.ConsumeRandomLengthString(16));
    const QString text = ke2fuzz::text(input.ConsumeRemainingBytesAsString());

    const QRegularExpression regex = TextSearch::BuildRegularExpression(findText, matchCase, wholeWord, regular);
    if (findText.isEmpty() || !regex.isValid())
        return 0;
    const ReplaceAllOutcome outcome = ReplaceAllIn(text, regex, replaceText, asTemplate);
    if (!outcome.complete)
        return 0; // the engine gave up on a runaway pattern; the search says so itself

    const QVector<TextMatch> reference = referenceMatches(text, regex);
    if (outcome.matches != reference) {
        QString differ;
        for (int i = 0; i < std::max(outcome.matches.size(), reference.size()); ++i) {
            const auto show = [](const QVector<TextMatch> &list, int i) {
                return i < list.size() ? QStringLiteral("%1+%2").arg(list[i].start).arg(list[i].length) : QStringLiteral("-");
            };
            if (show(outcome.matches, i) != show(reference, i)) {
                differ = QStringLiteral("first difference at match %1: %2, the reference %3")
                             .arg(i).arg(show(outcome.matches, i), show(reference, i));
                break;
            }
        }
        KE2_FUZZ_CHECK(false, "'%s' (%s%s%s) in %s: %d matches, the reference %d; %s", qPrintable(findText),
                       regular ? "regex" : "plain", matchCase ? ", case" : "", wholeWord ? ", word" : "",
                       QString::fromLatin1(text.toUtf8().toPercentEncoding()).toLatin1().constData(),
                       int(outcome.matches.size()), int(reference.size()), qPrintable(differ));
    }

    QString replaced;
    int at = 0;
    for (const TextMatch &match : reference) {
        replaced += text.mid(at, match.start - at);
        if (asTemplate) {
            // The match again, at its place in its line, for its groups.
            // (From -1 the search would start at the end of the text.)
            const int lineStart = match.start > 0 ? text.lastIndexOf(QLatin1Char('\n'), match.start - 1) + 1 : 0;
            int lineEnd = text.indexOf(QLatin1Char('\n'), match.start);
            if (lineEnd < 0)
                lineEnd = text.size();
            const QString line = content(text, lineStart, lineEnd);
            QRegularExpressionMatch found = regex.match(line, match.start - lineStart);
            // The global match may have refused an empty match here; look for the one it took.
            QRegularExpressionMatchIterator it = regex.globalMatch(line);
            while (it.hasNext()) {
                const QRegularExpressionMatch candidate = it.next();
                if (candidate.capturedStart() == match.start - lineStart && candidate.capturedLength() == match.length) {
                    found = candidate;
                    break;
                }
            }
            replaced += referenceExpand(replaceText, found);
        } else {
            replaced += replaceText;
        }
        at = match.start + match.length;
    }
    replaced += text.mid(at);
    KE2_FUZZ_CHECK(outcome.text == replaced, "Replace All of '%s' by '%s' differs from the reference", qPrintable(findText),
                   qPrintable(replaceText));
    return 0;
}
