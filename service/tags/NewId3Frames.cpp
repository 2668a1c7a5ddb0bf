#include "service/tags/NewId3Frames.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"

#include <algorithm>
#include <id3/misc_support.h>
#include <id3/tag.h>
#include <id3/writers.h>
#include <new>

namespace mv {

namespace {

constexpr std::size_t FrameHeaderSize = 10;
constexpr char16_t FirstHighSurrogate = 0xD800;
constexpr char16_t LastHighSurrogate = 0xDBFF;
// Encoding byte and language: where the description of a comment begins.
constexpr std::size_t CommentDescription = 4;

struct TextFrameKind {
    std::string_view id;
    ID3_FrameID number;
};

constexpr TextFrameKind TextFrameKinds[] = {
    { "TIT2", ID3FID_TITLE },
    { "TALB", ID3FID_ALBUM },
    { "TPE1", ID3FID_LEADARTIST },
    { "TCOM", ID3FID_COMPOSER },
    { "TCON", ID3FID_CONTENTTYPE },
};

ID3_FrameID frameNumber(std::string_view id)
{
    auto kind = std::find_if(
        std::begin(TextFrameKinds), std::end(TextFrameKinds), [&](const TextFrameKind& each) { return each.id == id; });
    return kind == std::end(TextFrameKinds) ? ID3FID_NOFRAME : kind->number;
}

Id3Frame rendered(ID3_Frame& frame)
{
    Bytes bytes(frame.Size());
    ID3_MemoryWriter writer(bytes.data(), bytes.size());
    frame.Render(writer);
    bytes.resize(writer.getCur());
    if (bytes.size() < FrameHeaderSize)
        return {};
    ByteReader header(bytes);
    Id3Frame result;
    result.id = charsOf(header.take(4));
    result.content.assign(bytes.begin() + FrameHeaderSize, bytes.end());
    return result;
}

/// id3lib keeps units with the most significant byte first in memory, and takes text up to a zero unit.
void setText(ID3_Frame& frame, const std::u16string& text)
{
    std::vector<unicode_t> units;
    for (char16_t unit : text)
        units.push_back(static_cast<unicode_t>(unit << 8 | unit >> 8));
    units.push_back(0);
    frame.GetField(ID3FN_TEXTENC)->Set(static_cast<uint32>(ID3TE_UTF16));
    ID3_Field* field = frame.GetField(ID3FN_TEXT);
    field->SetEncoding(ID3TE_UTF16);
    field->Set(units.data());
}

/// The only frame that `add` puts into an empty tag.
template <class Add> std::optional<Id3Frame> frameAddedBy(Add add)
{
    ID3_Tag tag;
    add(tag);
    // The iterator's destructor is not virtual: deleting it through this type would be undefined.
    ID3_Tag::Iterator* iterator = tag.CreateIterator();
    ID3_Frame* frame = iterator->GetNext();
    ::operator delete(static_cast<void*>(iterator));
    return frame ? std::optional(rendered(*frame)) : std::nullopt;
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

/// id3lib writes an empty UTF-16 string without a byte order mark, and readers then drop the frame.
void insertByteOrderMark(Id3Frame& frame, std::size_t at)
{
    const std::uint8_t mark[] = { 0xFF, 0xFE };
    frame.content.insert(frame.content.begin() + static_cast<std::ptrdiff_t>(at), std::begin(mark), std::end(mark));
}

Id3Frame utf16Frame(std::string_view id, const std::u16string& text)
{
    ID3_Frame frame(frameNumber(id));
    setText(frame, text);
    Id3Frame result = rendered(frame);
    if (text.empty())
        insertByteOrderMark(result, 1);
    return result;
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
    ID3_Frame frame(ID3FID_COMMENT);
    frame.GetField(ID3FN_LANGUAGE)->Set("XXX");
    setText(frame, tagText(utf8));
    Id3Frame comment = rendered(frame);
    if (tagText(utf8).empty())
        insertByteOrderMark(comment, comment.content.size());
    insertByteOrderMark(comment, CommentDescription);
    return comment;
}

std::optional<Id3Frame> newGenreFrame(std::string_view utf8)
{
    std::string text(utf8.substr(0, utf8.find('\0')));
    auto name = std::find(ID3_v1_genre_description.begin(), ID3_v1_genre_description.end(), text);
    auto number = static_cast<std::size_t>(name - ID3_v1_genre_description.begin());
    if (number < ID3_v1_genre_description.size())
        return frameAddedBy([&](ID3_Tag& tag) { ID3_AddGenre(&tag, number, true); });
    // id3lib would label the bytes as Latin-1.
    if (!isAscii(text))
        return utf16Frame("TCON", utf16FromUtf8(text));
    return frameAddedBy([&](ID3_Tag& tag) { ID3_AddGenre(&tag, text.c_str(), true); });
}

std::optional<Id3Frame> newTrackFrame(std::uint8_t number)
{
    return frameAddedBy([&](ID3_Tag& tag) { ID3_AddTrack(&tag, number, 0, true); });
}

Id3Frame newPictureFrame(ByteView picture)
{
    ID3_Frame frame(ID3FID_PICTURE);
    frame.GetField(ID3FN_MIMETYPE)->Set("image/jpeg");
    frame.GetField(ID3FN_PICTURETYPE)->Set(static_cast<uint32>(ID3PT_COVERFRONT));
    Id3Frame result = rendered(frame);
    result.content.insert(result.content.end(), picture.begin(), picture.end());
    return result;
}

} // namespace mv
