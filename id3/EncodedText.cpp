#include "id3/EncodedText.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::uint8_t Utf16LEMark[] = { 0xFF, 0xFE };

bool looksBigEndian(ByteView text)
{
    std::size_t zeroFirst = 0;
    std::size_t zeroSecond = 0;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
        zeroFirst += text[i] == 0 && text[i + 1] != 0;
        zeroSecond += text[i + 1] == 0 && text[i] != 0;
    }
    return zeroFirst > zeroSecond;
}

bool isAscii(ByteView utf16LE)
{
    for (std::size_t i = 0; i + 1 < utf16LE.size(); i += 2) {
        if (utf16LE[i] >= 0x80 || utf16LE[i + 1] != 0)
            return false;
    }
    return true;
}

} // namespace

bool beginsWithUtf16Mark(ByteView text)
{
    return text.size() >= 2 && ((text[0] == 0xFF && text[1] == 0xFE) || (text[0] == 0xFE && text[1] == 0xFF));
}

Bytes utf16LEFromUnits(ByteView text, bool bigEndian)
{
    Bytes out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(text.size() & ~std::size_t { 1 }));
    if (bigEndian) {
        for (std::size_t i = 0; i < out.size(); i += 2)
            std::swap(out[i], out[i + 1]);
    }
    return out;
}

Bytes utf16LEFromEncoded(std::uint8_t encoding, ByteView text)
{
    if (isUtf16(encoding)) {
        bool marked = beginsWithUtf16Mark(text);
        bool bigEndian = encoding == Id3EncodingUtf16BE;
        if (marked)
            bigEndian = text[0] == 0xFE;
        else if (encoding == Id3EncodingUtf16)
            bigEndian = looksBigEndian(text);
        return utf16LEFromUnits(marked ? text.subspan(2) : text, bigEndian);
    }
    Bytes out;
    ByteWriter writer(out);
    if (encoding == Id3EncodingUtf8 && isValidUtf8(charsOf(text))) {
        constexpr std::string_view Mark = "\xEF\xBB\xBF";
        std::string_view chars = charsOf(text);
        if (chars.starts_with(Mark))
            chars.remove_prefix(Mark.size());
        for (char16_t unit : utf16FromUtf8(chars))
            writer.u16le(unit);
        return out;
    }
    for (std::uint8_t byte : text)
        writer.u16le(byte);
    return out;
}

TerminatedLength terminatedLength(std::uint8_t encoding, ByteView text)
{
    if (isUtf16(encoding)) {
        for (std::size_t i = 0; i + 1 < text.size(); i += 2) {
            if (text[i] == 0 && text[i + 1] == 0)
                return { i, i + 2 };
        }
        return { text.size() & ~std::size_t { 1 }, text.size() };
    }
    auto zero = std::find(text.begin(), text.end(), 0);
    auto length = static_cast<std::size_t>(zero - text.begin());
    return { length, std::min(length + 1, text.size()) };
}

ByteView takeString(std::uint8_t encoding, ByteView& rest)
{
    auto [length, next] = terminatedLength(encoding, rest);
    ByteView string = rest.first(length);
    rest = rest.subspan(next);
    return string;
}

void EncodedBody::string(Bytes utf16LE)
{
    m_isAscii = m_isAscii && isAscii(utf16LE);
    m_parts.push_back({ Part::String, {}, std::move(utf16LE) });
}

Bytes EncodedBody::bytes() const
{
    std::size_t size = 1;
    for (const Part& part : m_parts)
        size += part.view.size() + part.units.size() + sizeof Utf16LEMark;
    Bytes body;
    body.reserve(size);
    ByteWriter writer(body);
    writer.u8(m_isAscii ? Id3EncodingLatin1 : Id3EncodingUtf16);
    for (const Part& part : m_parts) {
        switch (part.kind) {
        case Part::Raw:
            writer.bytes(part.view);
            break;
        case Part::String:
            if (!m_isAscii)
                writer.bytes(Utf16LEMark);
            for (std::size_t i = 0; i < part.units.size(); i += m_isAscii ? 2 : 1)
                writer.u8(part.units[i]);
            break;
        case Part::Terminator:
            writer.zeros(m_isAscii ? 1 : 2);
            break;
        }
    }
    return body;
}

} // namespace mv
