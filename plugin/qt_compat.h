#pragma once
// Where Qt 5.15 and Qt 6 differ. Everything else in the code base reads the same on both; a new
// difference gets a helper here rather than a version check at its place of use.

#include <QtCore/QRegularExpression>
#include <QtCore/QSettings>
#include <QtCore/QStringList>
#include <QtCore/QTextStream>
#include <QtCore/QVariant>
#include <QtCore/QtGlobal>
#include <QtGui/QKeySequence>

namespace ke2::qtcompat {

// Qt 5 reads and writes INI files and text streams in the locale's encoding unless told
// otherwise; Qt 6 always uses UTF-8. Ours are UTF-8 on both.
inline void useUtf8(QSettings &settings)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    settings.setIniCodec("UTF-8");
#else
    Q_UNUSED(settings);
#endif
}

inline void useUtf8(QTextStream &stream)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    stream.setCodec("UTF-8");
#else
    stream.setEncoding(QStringConverter::Utf8);
#endif
}

// Whether two values read from an INI file hold the same text. Qt 5 compares variants of
// different types after converting one to the other; Qt 6 calls them different, while the file
// knows no types: the string "a" and the list ["a"] are the same line.
inline bool sameIniValue(const QVariant &a, const QVariant &b)
{
    if (a.userType() != b.userType() && a.canConvert<QStringList>() && b.canConvert<QStringList>())
        return a.toStringList() == b.toStringList();
    return a == b;
}

// One key combination of a sequence as Qt 5's int (key | modifiers); Qt 6 returns a
// QKeyCombination.
inline int combinationAt(const QKeySequence &sequence, int index)
{
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
    return sequence[static_cast<uint>(index)];
#else
    return sequence[static_cast<uint>(index)].toCombined();
#endif
}

// The key of that combination, without its modifiers.
inline int keyAt(const QKeySequence &sequence, int index)
{
    return combinationAt(sequence, index) & ~int(Qt::KeyboardModifierMask);
}

// Anchors a match at the offset it starts from (renamed in Qt 6).
#if QT_VERSION < QT_VERSION_CHECK(6, 0, 0)
constexpr QRegularExpression::MatchOption kAnchorAtOffset = QRegularExpression::AnchoredMatchOption;
#else
constexpr QRegularExpression::MatchOption kAnchorAtOffset = QRegularExpression::AnchorAtOffsetMatchOption;
#endif

// Qt 6 keeps the description of each registered type where the library that registered it has
// it, and looks it up there again when the type is registered by name. A plug-in unloaded and
// loaded again at another address would find its old entries pointing into nothing; this takes
// out the entries of the library that holds `anchor` (an address of its code), so it can go.
// Qt 5 copies what it needs and has nothing to take out.
void forgetMetaTypesOfLibrary(const void *anchor);

} // namespace ke2::qtcompat
