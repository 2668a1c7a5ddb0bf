#include "id3/V23Form.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

constexpr std::uint8_t Utf16LEMark[] = { 0xFF, 0xFE };

bool isUtf16(std::uint8_t encoding) { return encoding == Id3EncodingUtf16 || encoding == Id3EncodingUtf16BE; }

bool beginsWithMark(ByteView text)
{
    return text.size() >= 2 && ((text[0] == 0xFF && text[1] == 0xFE) || (text[0] == 0xFE && text[1] == 0xFF));
}

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

Bytes unitsAsLittleEndian(ByteView text, bool bigEndian)
{
    Bytes out(text.begin(), text.begin() + static_cast<std::ptrdiff_t>(text.size() & ~std::size_t { 1 }));
    if (bigEndian) {
        for (std::size_t i = 0; i < out.size(); i += 2)
            std::swap(out[i], out[i + 1]);
    }
    return out;
}

/// Builds the body of a frame whose texts all become UTF-16 with a byte order mark.
class Utf16Body {
public:
    Utf16Body() { m_writer.u8(Id3EncodingUtf16); }

    void raw(ByteView bytes) { m_writer.bytes(bytes); }
    void string(std::uint8_t encoding, ByteView text)
    {
        m_writer.bytes(Utf16LEMark);
        m_writer.bytes(utf16LEFromEncoded(encoding, text));
    }
    void terminator() { m_writer.u16be(0); }
    Bytes take() { return std::move(m_bytes); }

private:
    Bytes m_bytes;
    ByteWriter m_writer { m_bytes };
};

/// Moves the front of `rest` behind the terminator; what lies before it is the string.
ByteView takeString(std::uint8_t encoding, ByteView& rest)
{
    auto [length, next] = terminatedLength(encoding, rest);
    ByteView string = rest.first(length);
    rest = rest.subspan(next);
    return string;
}

bool isLatin1Number(ByteView value)
{
    // Genre numbers have one byte.
    if (value.empty() || value.size() > 3)
        return false;
    for (std::uint8_t digit : value) {
        if (digit < '0' || digit > '9')
            return false;
    }
    return leadingInteger(charsOf(value)) <= 255;
}

constexpr std::size_t YearDigits = 4;

bool beginsWithYear(ByteView value)
{
    return value.size() >= YearDigits
        && std::all_of(value.begin(), value.begin() + YearDigits, [](std::uint8_t c) { return c >= '0' && c <= '9'; });
}

/// One value of a v2.4 text frame in the form v2.3 writes it, in UTF-16LE.
Bytes v23Value(std::string_view id, std::string_view storedId, Bytes value)
{
    Bytes narrow;
    for (std::size_t i = 0; i + 1 < value.size() && value[i + 1] == 0; i += 2)
        narrow.push_back(value[i]);
    bool plain = narrow.size() * 2 == value.size();
    if (id == "TCON" && plain && isLatin1Number(narrow)) {
        value.insert(value.begin(), { '(', 0 });
        value.insert(value.end(), { ')', 0 });
    } else if ((storedId == "TDRC" || storedId == "TDOR") && plain && beginsWithYear(narrow)) {
        value.resize(YearDigits * 2);
    }
    return value;
}

/// v2.4: the values, NUL between them, become one text with "/" between them.
Bytes joinedValues(std::string_view id, std::string_view storedId, std::uint8_t encoding, ByteView text)
{
    Bytes joined;
    // Programs put the mark before the first value only, too.
    bool marked = beginsWithMark(text);
    bool bigEndian = encoding == Id3EncodingUtf16BE || (marked && text[0] == 0xFE);
    bool first = true;
    while (!text.empty()) {
        ByteView value = takeString(encoding, text);
        std::uint8_t valueEncoding = isUtf16(encoding) && marked && bigEndian ? Id3EncodingUtf16BE : encoding;
        Bytes units = marked && !bigEndian && !beginsWithMark(value) && isUtf16(encoding)
            ? unitsAsLittleEndian(value, false)
            : utf16LEFromEncoded(valueEncoding, value);
        if (units.empty())
            continue;
        if (!first)
            joined.insert(joined.end(), { '/', 0 });
        first = false;
        Bytes form = v23Value(id, storedId, std::move(units));
        joined.insert(joined.end(), form.begin(), form.end());
    }
    return joined;
}

bool beginsLikePicture(ByteView data)
{
    constexpr std::array<std::string_view, 4> Marks = { "\xFF\xD8\xFF", "\x89PNG", "GIF8", "BM" };
    return std::any_of(
        Marks.begin(), Marks.end(), [&](std::string_view mark) { return charsOf(data).starts_with(mark); });
}

/// Those of the standard, and those of one player that are like them.
bool isTextFrame(std::string_view id)
{
    bool ofPlayer = id == "GRP1" || id == "MVNM" || id == "MVIN";
    return ofPlayer || (id.starts_with('T') && id != "TXXX");
}

std::optional<Bytes> v23TextBody(std::string_view id, std::string_view storedId, int version, ByteView content)
{
    std::uint8_t encoding = content[0];
    ByteView text = content.subspan(1);
    if (version < 4 && storedId != "TDRC" && storedId != "TDOR") {
        if (encoding == Id3EncodingLatin1 || (encoding == Id3EncodingUtf16 && beginsWithMark(text)))
            return std::nullopt;
        Utf16Body body;
        body.string(encoding, takeString(encoding, text));
        return body.take();
    }
    Bytes joined = joinedValues(id, storedId, encoding, text);
    Bytes body;
    if (encoding == Id3EncodingLatin1) {
        // Every unit came from one byte; back to it, so that its code page is still to be found out.
        body.push_back(Id3EncodingLatin1);
        for (std::size_t i = 0; i < joined.size(); i += 2)
            body.push_back(joined[i]);
        return body;
    }
    body.reserve(joined.size() + 3);
    body.push_back(Id3EncodingUtf16);
    body.insert(body.end(), { Utf16LEMark[0], Utf16LEMark[1] });
    body.insert(body.end(), joined.begin(), joined.end());
    return body;
}

/// COMM, USLT: language, description, text.
std::optional<Bytes> v23LanguageBody(ByteView content)
{
    constexpr std::size_t LanguageEnd = 4;
    if (content[0] == Id3EncodingLatin1 || content.size() < LanguageEnd)
        return std::nullopt;
    std::uint8_t encoding = content[0];
    ByteView rest = content.subspan(LanguageEnd);
    ByteView description = takeString(encoding, rest);
    Utf16Body body;
    body.raw(content.subspan(1, 3));
    body.string(encoding, description);
    body.terminator();
    ByteView text = takeString(encoding, rest);
    // A text without a mark behind a description with one has the description's order.
    bool borrowed = encoding == Id3EncodingUtf16 && !beginsWithMark(text) && beginsWithMark(description);
    if (borrowed && description[0] == 0xFF) {
        body.raw(Utf16LEMark);
        body.raw(unitsAsLittleEndian(text, false));
    } else {
        body.string(borrowed ? Id3EncodingUtf16BE : encoding, text);
    }
    return body.take();
}

/// One part of a frame's body behind its encoding byte.
struct Part {
    enum Kind {
        None, ///< the body has fewer parts
        Latin1, ///< a terminated string that is Latin-1 in every encoding
        Raw, ///< bytes that say something else, as many as `length`
        Text, ///< a terminated string
        LastText, ///< a string to the end
        Rest, ///< bytes to the end
        Texts, ///< terminated strings to the end, bytes of `length` behind each
    };

    Kind kind = None;
    std::size_t length = 0;
};

constexpr Part Language { Part::Raw, 3 };
constexpr Part Date { Part::Raw, 8 };

struct Shape {
    std::string_view id;
    std::array<Part, 7> parts;
};

/// The frames with an encoding byte, but for plain texts and those in which a missing byte order mark can be known.
constexpr Shape Shapes[] = {
    { "APIC", { { { Part::Latin1 }, { Part::Raw, 1 }, { Part::Text }, { Part::Rest } } } },
    { "COMR",
        { { { Part::Latin1 }, Date, { Part::Latin1 }, { Part::Raw, 1 }, { Part::Text }, { Part::Text },
            { Part::Rest } } } },
    { "GEOB", { { { Part::Latin1 }, { Part::Text }, { Part::Text }, { Part::Rest } } } },
    { "IPLS", { { { Part::Texts } } } },
    { "OWNE", { { { Part::Latin1 }, Date, { Part::LastText } } } },
    { "SYLT", { { Language, { Part::Raw, 2 }, { Part::Text }, { Part::Texts, 4 } } } },
    { "TXXX", { { { Part::Text }, { Part::LastText } } } },
    { "USER", { { Language, { Part::LastText } } } },
    { "WXXX", { { { Part::Text }, { Part::Rest } } } },
};

void convertPart(Part part, std::uint8_t encoding, ByteView& rest, Utf16Body& body)
{
    auto takeRaw = [&](std::size_t length) {
        length = std::min(length, rest.size());
        body.raw(rest.first(length));
        rest = rest.subspan(length);
    };
    auto takeText = [&] {
        body.string(encoding, takeString(encoding, rest));
        body.terminator();
    };
    switch (part.kind) {
    case Part::None:
        break;
    case Part::Latin1:
        body.raw(takeString(Id3EncodingLatin1, rest));
        body.raw(Bytes(1));
        break;
    case Part::Raw:
        takeRaw(part.length);
        break;
    case Part::Text:
        takeText();
        break;
    case Part::LastText:
        body.string(encoding, takeString(encoding, rest));
        break;
    case Part::Rest:
        takeRaw(rest.size());
        break;
    case Part::Texts:
        while (!rest.empty()) {
            takeText();
            takeRaw(part.length);
        }
        break;
    }
}

/// Only UTF-16 without a byte order mark and UTF-8 are unknown to v2.3.
std::optional<Bytes> v23ShapedBody(const Shape& shape, ByteView content)
{
    std::uint8_t encoding = content[0];
    if (encoding == Id3EncodingLatin1 || encoding == Id3EncodingUtf16)
        return std::nullopt;
    ByteView rest = content.subspan(1);
    Utf16Body body;
    for (Part part : shape.parts) {
        if (part.kind == Part::Raw && rest.size() < part.length)
            return std::nullopt;
        convertPart(part, encoding, rest, body);
    }
    return body.take();
}

/// v2.2 PIC: a three-letter format in the place of the mime type.
std::optional<Bytes> bodyOfPic(ByteView content)
{
    constexpr std::size_t FormatEnd = 4;
    if (content.size() <= FormatEnd)
        return std::nullopt;
    std::string format = toLowerAscii(charsOf(content.subspan(1, 3)));
    std::string mimeType = format == "jpg" ? "image/jpeg" : format == "-->" ? format : "image/" + format;
    Bytes body;
    ByteWriter writer(body);
    writer.u8(content[0]);
    writer.text(mimeType);
    writer.u8(0);
    writer.bytes(content.subspan(FormatEnd));
    return body;
}

} // namespace

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

Bytes utf16LEFromEncoded(std::uint8_t encoding, ByteView text)
{
    if (isUtf16(encoding)) {
        bool marked = beginsWithMark(text);
        bool bigEndian = encoding == Id3EncodingUtf16BE;
        if (marked)
            bigEndian = text[0] == 0xFE;
        else if (encoding == Id3EncodingUtf16)
            bigEndian = looksBigEndian(text);
        return unitsAsLittleEndian(marked ? text.subspan(2) : text, bigEndian);
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

std::optional<ApicParts> splitApic(ByteView body)
{
    if (body.empty())
        return std::nullopt;
    std::uint8_t encoding = body[0];
    ByteView rest = body.subspan(1);
    ApicParts parts;
    parts.mimeType = takeString(Id3EncodingLatin1, rest);
    if (rest.empty())
        return std::nullopt;
    parts.pictureType = rest[0];
    rest = rest.subspan(1);
    ByteView narrow = rest;
    takeString(encoding, rest);
    parts.data = rest;
    // Programs that claim UTF-16 and end an empty description with one zero byte are around.
    if (isUtf16(encoding) && !beginsLikePicture(rest)) {
        takeString(Id3EncodingLatin1, narrow);
        if (beginsLikePicture(narrow))
            parts.data = narrow;
    }
    return parts;
}

std::optional<Bytes> v23Body(std::string_view id, std::string_view storedId, int version, ByteView content)
{
    if (content.empty())
        return std::nullopt;
    if (storedId == "PIC")
        return bodyOfPic(content);
    if (isTextFrame(id))
        return v23TextBody(id, storedId, version, content);
    if (id == "COMM" || id == "USLT")
        return v23LanguageBody(content);
    auto shape = std::find_if(std::begin(Shapes), std::end(Shapes), [&](const Shape& each) { return each.id == id; });
    return shape == std::end(Shapes) ? std::nullopt : v23ShapedBody(*shape, content);
}

} // namespace mv
