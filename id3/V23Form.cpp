#include "id3/V23Form.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <span>
#include <vector>

namespace mv {

namespace {

constexpr std::string_view Digits = "0123456789";

/// Genre numbers have one byte.
bool isGenreNumber(std::string_view text)
{
    return !text.empty() && text.size() <= 3 && text.find_first_not_of(Digits) == text.npos
        && leadingInteger(text) <= 255;
}

constexpr std::size_t YearDigits = 4;

bool beginsWithYear(std::string_view text)
{
    return text.size() >= YearDigits && text.substr(0, YearDigits).find_first_not_of(Digits) == text.npos;
}

std::string narrowed(ByteView utf16LE)
{
    std::string text;
    for (std::size_t i = 0; i < utf16LE.size(); i += 2)
        text += static_cast<char>(utf16LE[i]);
    return text;
}

bool isLatin1(ByteView utf16LE)
{
    for (std::size_t i = 1; i < utf16LE.size(); i += 2) {
        if (utf16LE[i] != 0)
            return false;
    }
    return true;
}

/// The values of a v2.4 text, NUL between them, in UTF-16LE; empty ones left out. Programs put the byte order mark
/// before the first value only, too, or before `before`, the string in front of the values.
std::vector<Bytes> valuesOf(std::uint8_t encoding, ByteView text, ByteView before = {})
{
    ByteView marked = beginsWithUtf16Mark(text) ? text : before;
    bool isMarked = isUtf16(encoding) && beginsWithUtf16Mark(marked);
    std::vector<Bytes> values;
    while (!text.empty()) {
        ByteView value = takeString(encoding, text);
        Bytes units = isMarked && !beginsWithUtf16Mark(value) ? utf16LEFromUnits(value, marked[0] == 0xFE)
                                                              : utf16LEFromEncoded(encoding, value);
        if (!units.empty())
            values.push_back(std::move(units));
    }
    return values;
}

Bytes joinedValues(std::span<const Bytes> values)
{
    Bytes joined;
    for (const Bytes& value : values) {
        if (!joined.empty())
            joined.insert(joined.end(), { '/', 0 });
        joined.insert(joined.end(), value.begin(), value.end());
    }
    return joined;
}

/// "(17)" of 17, "(17)" and "(17)(18)"; nothing of a genre's name.
bool isGenreReference(std::string_view text)
{
    return text.size() > 2 && text.front() == '(' && text.back() == ')'
        && text.find_first_not_of("0123456789()") == std::string_view::npos;
}

/// v2.3 writes the numbers of genres in parentheses, one behind the other, and a name behind them.
Bytes joinedGenres(std::span<const Bytes> values)
{
    Bytes references;
    std::vector<Bytes> names;
    ByteWriter writer(references);
    for (const Bytes& value : values) {
        std::string text = isLatin1(value) ? narrowed(value) : std::string();
        if (isGenreNumber(text))
            text.insert(0, 1, '(').push_back(')');
        else if (!isGenreReference(text)) {
            names.push_back(value);
            continue;
        }
        for (char c : text)
            writer.u16le(static_cast<std::uint8_t>(c));
    }
    Bytes joined = joinedValues(names);
    references.insert(references.end(), joined.begin(), joined.end());
    return references;
}

/// The years of time stamps.
void cutToYears(std::span<Bytes> values)
{
    for (Bytes& value : values) {
        if (isLatin1(value) && beginsWithYear(narrowed(value)))
            value.resize(YearDigits * 2);
    }
}

bool beginsLikePicture(ByteView data)
{
    constexpr std::array<std::string_view, 4> Marks = { "\xFF\xD8\xFF", "\x89PNG", "GIF8", "BM" };
    return std::any_of(
        Marks.begin(), Marks.end(), [&](std::string_view mark) { return charsOf(data).starts_with(mark); });
}

/// Those of the standard, and those of one player that are like them. Its WFED, which has an encoding byte with some
/// programs and none with others, is left as it is: each kind of reader would lose the other's.
bool isTextFrame(std::string_view id)
{
    bool ofPlayer = id == "GRP1" || id == "MVNM" || id == "MVIN";
    return ofPlayer || (id.starts_with('T') && id != "TXXX");
}

/// A text of a tag before v2.4.
std::optional<Bytes> v23OneTextBody(ByteView content)
{
    std::uint8_t encoding = content[0];
    ByteView text = content.subspan(1);
    if (encoding == Id3EncodingLatin1 || (encoding == Id3EncodingUtf16 && beginsWithUtf16Mark(text)))
        return std::nullopt;
    EncodedBody body;
    body.string(encoding, takeString(encoding, text));
    return body.bytes();
}

std::optional<Bytes> v23TextBody(std::string_view id, std::string_view storedId, int version, ByteView content)
{
    if (version < 4)
        return v23OneTextBody(content);
    std::uint8_t encoding = content[0];
    std::vector<Bytes> values = valuesOf(encoding, content.subspan(1));
    if (storedId == "TDRC" || storedId == "TDOR")
        cutToYears(values);
    Bytes joined = id == "TCON" ? joinedGenres(values) : joinedValues(values);
    if (encoding == Id3EncodingLatin1) {
        // Every unit came from one byte; back to it, so that its code page is still to be found out.
        Bytes body { Id3EncodingLatin1 };
        ByteWriter(body).text(narrowed(joined));
        return body;
    }
    EncodedBody body;
    body.string(std::move(joined));
    return body.bytes();
}

/// COMM, USLT and TXXX: language (but for TXXX), description, text; in v2.4 COMM and TXXX may have several texts.
std::optional<Bytes> v23DescribedBody(std::string_view id, int version, ByteView content)
{
    std::size_t languageSize = id == "TXXX" ? 0 : 3;
    std::uint8_t encoding = content[0];
    bool severalTexts = version == 4 && id != "USLT";
    bool known = encoding == Id3EncodingLatin1 || (encoding == Id3EncodingUtf16 && id == "TXXX");
    if ((known && !severalTexts) || content.size() < 1 + languageSize)
        return std::nullopt;
    ByteView rest = content.subspan(1 + languageSize);
    ByteView description = takeString(encoding, rest);
    if (!severalTexts)
        rest = rest.first(terminatedLength(encoding, rest).length);
    std::vector<Bytes> values = valuesOf(encoding, rest, description);
    if (known && values.size() < 2)
        return std::nullopt;
    if (encoding == Id3EncodingLatin1) {
        Bytes body(content.begin(), content.end() - static_cast<std::ptrdiff_t>(rest.size()));
        ByteWriter(body).text(narrowed(joinedValues(values)));
        return body;
    }
    EncodedBody body;
    body.raw(content.subspan(1, languageSize));
    body.string(encoding, description);
    body.terminator();
    body.string(joinedValues(values));
    return body.bytes();
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

constexpr std::uint8_t Zero[] = { 0 };
constexpr Part Language { Part::Raw, 3 };
constexpr Part Date { Part::Raw, 8 };

struct Shape {
    std::string_view id;
    std::array<Part, 7> parts;
};

/// The other frames with an encoding byte.
constexpr Shape Shapes[] = {
    { "APIC", { { { Part::Latin1 }, { Part::Raw, 1 }, { Part::Text }, { Part::Rest } } } },
    { "COMR",
        { { { Part::Latin1 }, Date, { Part::Latin1 }, { Part::Raw, 1 }, { Part::Text }, { Part::Text },
            { Part::Rest } } } },
    { "GEOB", { { { Part::Latin1 }, { Part::Text }, { Part::Text }, { Part::Rest } } } },
    { "IPLS", { { { Part::Texts } } } },
    { "OWNE", { { { Part::Latin1 }, Date, { Part::LastText } } } },
    { "SYLT", { { Language, { Part::Raw, 2 }, { Part::Text }, { Part::Texts, 4 } } } },
    { "USER", { { Language, { Part::LastText } } } },
    { "WXXX", { { { Part::Text }, { Part::Rest } } } },
};

void convertPart(Part part, std::uint8_t encoding, ByteView& rest, EncodedBody& body)
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
        body.raw(Zero);
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
    EncodedBody body;
    for (Part part : shape.parts) {
        if (part.kind == Part::Raw && rest.size() < part.length)
            return std::nullopt;
        convertPart(part, encoding, rest, body);
    }
    return body.bytes();
}

constexpr std::size_t PicFormatSize = 3;

/// v2.2 PIC: a three-letter format in the place of the mime type.
std::optional<Bytes> bodyOfPic(ByteView content)
{
    constexpr std::size_t FormatEnd = 1 + PicFormatSize;
    if (content.size() <= FormatEnd)
        return std::nullopt;
    std::string format = toLowerAscii(charsOf(content.subspan(1, PicFormatSize)));
    std::string mimeType = format == "jpg" ? "image/jpeg" : format == LinkedPictureType ? format : "image/" + format;
    Bytes body;
    ByteWriter writer(body);
    writer.u8(content[0]);
    writer.text(mimeType);
    writer.u8(0);
    writer.bytes(content.subspan(FormatEnd));
    return body;
}

/// v2.2 LNK: the linked frame's name has three letters, too. Empty where that one has no other.
Bytes bodyOfLnk(ByteView content)
{
    constexpr std::size_t NameSize = 3;
    Bytes body;
    std::string id = v23FrameId(charsOf(content.first(std::min(NameSize, content.size()))), 2);
    if (id.size() <= NameSize)
        return body;
    ByteWriter writer(body);
    writer.text(id);
    writer.bytes(content.subspan(NameSize));
    return body;
}

} // namespace

std::optional<PictureParts> splitPicture(std::string_view storedId, ByteView body)
{
    if (body.empty())
        return std::nullopt;
    std::uint8_t encoding = body[0];
    ByteView rest = body.subspan(1);
    PictureParts parts;
    if (storedId == "PIC") {
        parts.mimeType = rest.first(std::min(PicFormatSize, rest.size()));
        rest = rest.subspan(parts.mimeType.size());
    } else {
        parts.mimeType = takeString(Id3EncodingLatin1, rest);
    }
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
    if (storedId == "LNK")
        return bodyOfLnk(content);
    if (isTextFrame(id))
        return v23TextBody(id, storedId, version, content);
    if (id == "COMM" || id == "USLT" || id == "TXXX")
        return v23DescribedBody(id, version, content);
    auto shape = std::find_if(std::begin(Shapes), std::end(Shapes), [&](const Shape& each) { return each.id == id; });
    return shape == std::end(Shapes) ? std::nullopt : v23ShapedBody(*shape, content);
}

} // namespace mv
