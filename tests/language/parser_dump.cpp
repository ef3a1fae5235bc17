#include "tests/language/parser_dump.h"

namespace ke2::test {

namespace {

QString lineColumn(const QString &text, int offset)
{
    if (offset < 0 || offset > text.size())
        return QStringLiteral("-");
    const QStringView before = QStringView(text).left(offset);
    const int line = int(before.count(QLatin1Char('\n'))) + 1;
    const int column = offset - int(before.lastIndexOf(QLatin1Char('\n')));
    return QStringLiteral("%1:%2").arg(line).arg(column);
}

QString dumpDiagnostic(const QString &label, const QString &text, const Diagnostic &d)
{
    return QStringLiteral("%1 %2 [%3,%4] %5\n")
        .arg(label, lineColumn(text, d.start))
        .arg(d.start)
        .arg(d.end)
        .arg(d.message);
}

} // namespace

QString dumpParser(const BaseParser &parser, const QVector<Diagnostic> &dropped)
{
    const QString &text = parser.Text();
    QString out;
    for (const OutlineItem *item : parser.OutlineItems()) {
        out += QStringLiteral("item %1 kind %2 depth %3 [%4] %5\n")
                   .arg(lineColumn(text, item->position))
                   .arg(item->kind)
                   .arg(item->depth)
                   .arg(item->position)
                   .arg(item->name);
    }
    for (const Diagnostic *d : parser.Errors())
        out += dumpDiagnostic(QStringLiteral("error"), text, *d);
    for (const Diagnostic &d : dropped)
        out += dumpDiagnostic(QStringLiteral("dropped"), text, d);
    for (const Diagnostic *d : parser.Warnings())
        out += dumpDiagnostic(QStringLiteral("warning"), text, *d);
    for (const Diagnostic *d : parser.Todos())
        out += dumpDiagnostic(QStringLiteral("todo"), text, *d);
    return out;
}

QStringList outlineOf(const BaseParser &parser)
{
    QStringList out;
    for (const OutlineItem *item : parser.OutlineItems())
        out << QStringLiteral("%1 %2 %3 %4").arg(item->kind).arg(item->depth).arg(item->position).arg(item->name);
    return out;
}

QStringList messagesOf(const QList<Diagnostic *> &list)
{
    QStringList out;
    for (const Diagnostic *d : list)
        out << QStringLiteral("%1 %2 %3").arg(d->start).arg(d->end).arg(d->message);
    return out;
}

QStringList messagesOf(const QVector<Diagnostic> &list)
{
    QStringList out;
    for (const Diagnostic &d : list)
        out << QStringLiteral("%1 %2 %3").arg(d.start).arg(d.end).arg(d.message);
    return out;
}

} // namespace ke2::test
