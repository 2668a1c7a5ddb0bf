// Texts of pictures and movies that say when something was made.
#include "Base/Core/Bytes.h"
#include "system/DateText.h"

#include <cstdlib>

namespace {

/// A zone whose clocks are put forward and back.
bool useBerlinsZone() { return setenv("TZ", "CET-1CEST,M3.5.0,M10.5.0/3", 1) == 0; }

/// The answer has nothing to do with what was asked before.
template <class Read> void check(Read read, std::string_view text)
{
    auto date = read(text);
    for (const char* summerAndWinter : { "2013:07:01 12:00:00", "2013:01:01 12:00:00" }) {
        mv::dateFromExifText(summerAndWinter);
        if (read(text) != date)
            std::abort();
    }
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    [[maybe_unused]] static const bool s_zone = useBerlinsZone();
    std::string_view text = mv::charsOf(mv::ByteView(data, size));
    check(mv::dateFromExifText, text);
    check(mv::dateFromMetadataText, text);
    return 0;
}
