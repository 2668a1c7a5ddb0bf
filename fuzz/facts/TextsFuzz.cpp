// Bytes of no stated charset, dates, genres.
#include "Base/Core/Text.h"
#include "facts/reading/Genres.h"
#include "facts/reading/LegacyText.h"
#include "facts/reading/TagTexts.h"

#include <cstdlib>

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ByteView bytes(data, size);
    if (!isValidUtf8(utf8FromCharset(guessedCharset(bytes), bytes)))
        std::abort();
    // A date as it is given out is one that is understood again, as the same.
    if (auto date = isoDateOf(charsOf(bytes)); date && isoDateOf(*date) != date)
        std::abort();
    genresOfContentType(charsOf(bytes));
    TagTexts texts;
    for (int field = 0; field < static_cast<int>(TagField::Count); ++field)
        texts.addUtf8OrLegacy(static_cast<TagField>(field), bytes);
    Facts facts;
    texts.putInto(facts);
    return 0;
}
