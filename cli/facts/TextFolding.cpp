#include "cli/facts/TextFolding.h"

#include "Base/Core/Text.h"

#include <clocale>
#include <cwctype>

namespace mv::cli {

namespace {

/// The tables of letters that the C library has for every locale of UTF-8. Null where it has none.
locale_t letters()
{
    static const locale_t Letters = newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr);
    return Letters;
}

char16_t smallLetter(char16_t unit)
{
    // Letters with two units have no other case in the scripts that tags are written in.
    bool isHalf = unit >= 0xd800 && unit <= 0xdfff;
    if (isHalf || !letters())
        return unit;
    auto small = towlower_l(static_cast<wint_t>(unit), letters());
    return small <= 0xffff ? static_cast<char16_t>(small) : unit;
}

} // namespace

std::string foldedText(std::string_view text)
{
    std::string ascii = toLowerAscii(text);
    bool isAscii = true;
    for (char byte : ascii)
        isAscii = isAscii && static_cast<unsigned char>(byte) < 0x80;
    if (isAscii)
        return ascii;
    std::u16string units = utf16FromUtf8(ascii);
    for (char16_t& unit : units)
        unit = smallLetter(unit);
    return utf8FromUtf16(units);
}

} // namespace mv::cli
