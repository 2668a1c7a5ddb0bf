#include "service/tags/NewId3Frames.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "id3/EncodedText.h"

#include <algorithm>

namespace mv {

namespace {

constexpr char16_t FirstHighSurrogate = 0xD800;
constexpr char16_t LastHighSurrogate = 0xDBFF;
constexpr std::uint8_t FrontCover = 3;

/// An empty string has its byte order mark, too: readers drop the frame without it.
void writeUtf16(ByteWriter& writer, std::u16string_view text)
{
    writer.u16le(0xFEFF);
    for (char16_t unit : text)
        writer.u16le(unit);
}

Id3Frame utf16Frame(std::string_view id, std::u16string_view text)
{
    Id3Frame frame { .id = std::string(id), .content = { Id3EncodingUtf16 } };
    ByteWriter writer(frame.content);
    writeUtf16(writer, text);
    return frame;
}

Id3Frame asciiFrame(std::string_view id, std::string_view text)
{
    Id3Frame frame { .id = std::string(id), .content = { Id3EncodingLatin1 } };
    ByteWriter(frame.content).text(text);
    return frame;
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

} // namespace

std::u16string tagText(std::string_view utf8)
{
    std::u16string units = utf16FromUtf8(utf8.substr(0, utf8.find('\0')));
    if (units.size() <= MaxTagTextUnits)
        return units;
    units.resize(MaxTagTextUnits);
    // Readers drop a frame that ends in half a character.
    if (units.back() >= FirstHighSurrogate && units.back() <= LastHighSurrogate)
        units.pop_back();
    return units;
}

Id3Frame newTextFrame(std::string_view id, std::string_view utf8) { return utf16Frame(id, tagText(utf8)); }

Id3Frame newCommentFrame(std::string_view utf8)
{
    Id3Frame frame { .id = "COMM", .content = { Id3EncodingUtf16 } };
    ByteWriter writer(frame.content);
    writer.text("XXX");
    writeUtf16(writer, {});
    writer.u16le(0);
    writeUtf16(writer, tagText(utf8));
    return frame;
}

std::optional<Id3Frame> newGenreFrame(std::string_view utf8)
{
    std::string_view text = utf8.substr(0, utf8.find('\0'));
    auto name = std::find(ID3_v1_genre_description.begin(), ID3_v1_genre_description.end(), text);
    if (name != ID3_v1_genre_description.end())
        return asciiFrame("TCON", "(" + std::to_string(name - ID3_v1_genre_description.begin()) + ")");
    if (text.empty())
        return std::nullopt;
    return isAscii(text) ? asciiFrame("TCON", text) : utf16Frame("TCON", utf16FromUtf8(text));
}

std::optional<Id3Frame> newTrackFrame(std::uint8_t number)
{
    return number != 0 ? std::optional(asciiFrame("TRCK", std::to_string(number))) : std::nullopt;
}

Id3Frame newPictureFrame(ByteView picture)
{
    Id3Frame frame { .id = "APIC", .content = { Id3EncodingLatin1 } };
    ByteWriter writer(frame.content);
    writer.text("image/jpeg");
    writer.u8(0);
    writer.u8(FrontCover);
    writer.u8(0); // no description
    writer.bytes(picture);
    return frame;
}

} // namespace mv
