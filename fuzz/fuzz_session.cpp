// The saved tab state on any entry: what the reader accepts, the writer gives back in a form the
// reader takes to the same record (parse, write, parse is stable), and the scroll offsets survive
// their own round trip.

#include "fuzz/fuzz_support.h"
#include "shell/session_state.h"

using namespace ke2;

extern "C" int LLVMFuzzerTestOneInput(const uint8_t *data, size_t size)
{
    const QString input = ke2fuzz::text(data, size);
    const QString folder = QStringLiteral("/prefs/internalBuffers");

    TabDetails first;
    if (first.Parse(input, folder)) {
        KE2_FUZZ_CHECK(first.group >= 0 && first.group < SessionState::groupCount, "group %d", first.group);
        const QString written = first.ToString();
        TabDetails second;
        KE2_FUZZ_CHECK(second.Parse(written, folder), "the writer's entry '%s' is refused", qPrintable(written));
        KE2_FUZZ_CHECK(second.ToString() == written, "'%s' reads back as '%s'", qPrintable(written),
                       qPrintable(second.ToString()));
        KE2_FUZZ_CHECK(second.kind == first.kind && second.current == first.current &&
                           second.cursorPosition == first.cursorPosition && second.scrollPosition == first.scrollPosition &&
                           second.name == first.name && second.group == first.group,
                       "fields of '%s' changed on the way back", qPrintable(written));
        if (first.kind == CODE_EDITOR_FILE)
            KE2_FUZZ_CHECK(second.path == first.path, "the file path '%s' came back as '%s'", qPrintable(first.path),
                           qPrintable(second.path));
    }

    const QStringList entries = input.split(QLatin1Char(','));
    const QVector<int> offsets = SessionState::ParseTabBarScrolling(entries);
    KE2_FUZZ_CHECK(offsets.size() <= SessionState::groupCount, "%d scroll offsets", int(offsets.size()));
    KE2_FUZZ_CHECK(SessionState::ParseTabBarScrolling(SessionState::FormatTabBarScrolling(offsets)) == offsets,
                   "scroll offsets changed on the way back");
    return 0;
}
