#include "Base/Core/Text.h"

#include <cstdarg>
#include <cstdio>
#include <iconv.h>
#include <limits>

namespace mv {

std::string formatText(const char* format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    va_list again;
    va_copy(again, arguments);
    int length = std::vsnprintf(nullptr, 0, format, arguments);
    va_end(arguments);
    std::string text(length > 0 ? static_cast<std::size_t>(length) : 0, '\0');
    if (length > 0)
        std::vsnprintf(text.data(), text.size() + 1, format, again);
    va_end(again);
    return text;
}

namespace {

char upper(char c) { return c >= 'a' && c <= 'z' ? static_cast<char>(c - 'a' + 'A') : c; }
char lower(char c) { return c >= 'A' && c <= 'Z' ? static_cast<char>(c - 'A' + 'a') : c; }

void appendUtf8(std::string& out, char32_t c)
{
    if (c < 0x80) {
        out += static_cast<char>(c);
    } else if (c < 0x800) {
        out += static_cast<char>(0xC0 | c >> 6);
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        out += static_cast<char>(0xE0 | c >> 12);
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    } else {
        out += static_cast<char>(0xF0 | c >> 18);
        out += static_cast<char>(0x80 | (c >> 12 & 0x3F));
        out += static_cast<char>(0x80 | (c >> 6 & 0x3F));
        out += static_cast<char>(0x80 | (c & 0x3F));
    }
}

struct Decoded {
    char32_t character;
    std::size_t length; // 0: ill-formed at this place
};

Decoded decodeUtf8(std::string_view text, std::size_t at)
{
    auto byte = [&](std::size_t i) { return static_cast<unsigned char>(text[i]); };
    unsigned char first = byte(at);
    if (first < 0x80)
        return { first, 1 };
    std::size_t length = first >= 0xF0 ? 4 : first >= 0xE0 ? 3 : 2;
    if (first < 0xC2 || first > 0xF4 || at + length > text.size())
        return { 0, 0 };
    char32_t character = first & (0xFF >> (length + 1));
    for (std::size_t i = 1; i < length; ++i) {
        if ((byte(at + i) & 0xC0) != 0x80)
            return { 0, 0 };
        character = character << 6 | (byte(at + i) & 0x3F);
    }
    bool overlong = (length == 3 && character < 0x800) || (length == 4 && character < 0x10000);
    bool surrogate = character >= 0xD800 && character < 0xE000;
    if (overlong || surrogate || character > 0x10FFFF)
        return { 0, 0 };
    return { character, length };
}

std::optional<std::string> utf8FromUnits(std::u16string_view units)
{
    std::string out;
    out.reserve(units.size());
    for (std::size_t i = 0; i < units.size(); ++i) {
        char32_t c = units[i];
        if (c >= 0xD800 && c < 0xE000) {
            bool pair = c < 0xDC00 && i + 1 < units.size() && units[i + 1] >= 0xDC00 && units[i + 1] < 0xE000;
            if (!pair)
                return std::nullopt;
            c = 0x10000 + ((c - 0xD800) << 10) + (units[++i] - 0xDC00);
        }
        appendUtf8(out, c);
    }
    return out;
}

/// A converter from CP949 for one thread; opening one costs more than most titles.
class Cp949Converter {
public:
    Cp949Converter()
        : m_handle(iconv_open("UTF-8", "CP949"))
    {
    }
    ~Cp949Converter()
    {
        if (opened())
            iconv_close(m_handle);
    }
    bool opened() const { return m_handle != reinterpret_cast<iconv_t>(-1); }

    std::optional<std::string> convert(ByteView bytes)
    {
        iconv(m_handle, nullptr, nullptr, nullptr, nullptr);
        std::string out(bytes.size() * 3 + 4, '\0');
        char* from = const_cast<char*>(charsOf(bytes).data());
        std::size_t fromLeft = bytes.size();
        char* to = out.data();
        std::size_t toLeft = out.size();
        if (iconv(m_handle, &from, &fromLeft, &to, &toLeft) == static_cast<std::size_t>(-1))
            return std::nullopt;
        out.resize(out.size() - toLeft);
        return out;
    }

private:
    iconv_t m_handle;
};

} // namespace

std::string toUpperAscii(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = upper(c);
    return out;
}

std::string toLowerAscii(std::string_view text)
{
    std::string out(text);
    for (char& c : out)
        c = lower(c);
    return out;
}

bool equalIgnoringAsciiCase(std::string_view a, std::string_view b)
{
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i) {
        if (lower(a[i]) != lower(b[i]))
            return false;
    }
    return true;
}

bool isValidUtf8(std::string_view text)
{
    for (std::size_t i = 0; i < text.size();) {
        std::size_t length = decodeUtf8(text, i).length;
        if (length == 0)
            return false;
        i += length;
    }
    return true;
}

std::string cleanedUtf8(std::string_view text)
{
    std::string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        std::size_t length = decodeUtf8(text, i).length;
        if (length == 0) {
            appendUtf8(out, 0xFFFD);
            ++i;
        } else {
            out.append(text, i, length);
            i += length;
        }
    }
    return out;
}

bool isSendableText(std::string_view text) { return text.find('\0') == std::string_view::npos && isValidUtf8(text); }

std::string sendableText(std::string_view text)
{
    std::string valid = cleanedUtf8(text);
    std::string out;
    out.reserve(valid.size());
    for (char c : valid) {
        if (c == 0)
            appendUtf8(out, 0xFFFD);
        else
            out += c;
    }
    return out;
}

std::string_view truncatedUtf8(std::string_view text, std::size_t maximum)
{
    if (text.size() <= maximum)
        return text;
    while (maximum > 0 && (static_cast<unsigned char>(text[maximum]) & 0xC0) == 0x80)
        --maximum;
    return text.substr(0, maximum);
}

std::string utf8FromLatin1(ByteView bytes)
{
    std::string out;
    out.reserve(bytes.size());
    for (std::uint8_t byte : bytes)
        appendUtf8(out, byte);
    return out;
}

std::optional<std::string> utf8FromUtf16LE(ByteView bytes)
{
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units += static_cast<char16_t>(bytes[i] | bytes[i + 1] << 8);
    return utf8FromUnits(units);
}

std::optional<std::string> utf8FromUtf16BE(ByteView bytes)
{
    std::u16string units;
    units.reserve(bytes.size() / 2);
    for (std::size_t i = 0; i + 1 < bytes.size(); i += 2)
        units += static_cast<char16_t>(bytes[i] << 8 | bytes[i + 1]);
    return utf8FromUnits(units);
}

std::optional<std::string> utf8FromCP949(ByteView bytes)
{
    bool ascii = true;
    for (std::uint8_t byte : bytes)
        ascii = ascii && byte < 0x80;
    if (ascii)
        return std::string(charsOf(bytes));
    thread_local Cp949Converter converter;
    return converter.opened() ? converter.convert(bytes) : std::nullopt;
}

std::optional<std::string> utf8FromUtf8(ByteView bytes)
{
    std::string_view text = charsOf(bytes);
    if (!isValidUtf8(text))
        return std::nullopt;
    return std::string(text);
}

std::u16string utf16FromUtf8(std::string_view text)
{
    std::u16string out;
    out.reserve(text.size());
    for (std::size_t i = 0; i < text.size();) {
        auto [character, length] = decodeUtf8(text, i);
        if (length == 0) {
            character = 0xFFFD;
            length = 1;
        }
        i += length;
        if (character < 0x10000) {
            out += static_cast<char16_t>(character);
        } else {
            out += static_cast<char16_t>(0xD800 + ((character - 0x10000) >> 10));
            out += static_cast<char16_t>(0xDC00 + ((character - 0x10000) & 0x3FF));
        }
    }
    return out;
}

std::string utf8FromUtf16(std::u16string_view units)
{
    std::string out;
    for (std::size_t i = 0; i < units.size(); ++i) {
        std::size_t count = i + 1 < units.size() && (units[i] & 0xFC00) == 0xD800 ? 2 : 1;
        auto piece = utf8FromUnits(units.substr(i, count));
        if (piece)
            i += count - 1;
        else
            piece = "\xEF\xBF\xBD";
        out += *piece;
    }
    return out;
}

std::int32_t leadingInteger(std::string_view text)
{
    std::size_t i = 0;
    while (i < text.size() && (text[i] == ' ' || (text[i] >= '\t' && text[i] <= '\r')))
        ++i;
    bool negative = i < text.size() && text[i] == '-';
    if (i < text.size() && (text[i] == '-' || text[i] == '+'))
        ++i;
    std::int64_t value = 0;
    constexpr std::int64_t Ceiling = std::int64_t { std::numeric_limits<std::int32_t>::max() } + 1;
    for (; i < text.size() && text[i] >= '0' && text[i] <= '9'; ++i)
        value = std::min(value * 10 + (text[i] - '0'), Ceiling);
    if (negative)
        return static_cast<std::int32_t>(-value);
    return static_cast<std::int32_t>(std::min(value, Ceiling - 1));
}

std::string fourCharacterText(std::uint32_t code)
{
    const std::uint8_t bytes[] = { static_cast<std::uint8_t>(code >> 24), static_cast<std::uint8_t>(code >> 16),
        static_cast<std::uint8_t>(code >> 8), static_cast<std::uint8_t>(code) };
    return utf8FromLatin1(bytes);
}

} // namespace mv
