#include "service/tags/Id3Chapters.h"

#include "Base/Core/ByteReader.h"
#include "id3/V23Form.h"

#include <algorithm>

namespace mv {

namespace {

// Titles, links and small pictures.
constexpr std::size_t MaxUnpackedBytes = std::size_t { 4 } << 20;

void skipText(ByteReader& reader)
{
    while (!reader.failed() && reader.u8() != 0) { }
}

/// Where the frames inside begin; the end of the content when it is damaged.
std::size_t innerFramesBegin(std::string_view id, ByteView content)
{
    constexpr std::size_t ChapterTimes = 16; // begin and end, as times and as offsets
    ByteReader reader(content);
    skipText(reader);
    if (id == "CHAP") {
        reader.skip(ChapterTimes);
    } else {
        reader.skip(1);
        for (int entries = reader.u8(); entries > 0; --entries)
            skipText(reader);
    }
    return reader.failed() ? content.size() : reader.position();
}

} // namespace

Bytes v23ChapterBody(std::string_view id, ByteView content)
{
    std::size_t begin = innerFramesBegin(id, content);
    ByteView inner = content.subspan(begin);
    Id3v2Tag::Header header { 4, 0, static_cast<std::uint32_t>(inner.size()) };
    Id3v2Tag tag = Id3v2Tag::parse(
        header, 0, Id3v2Tag::HeaderSize + inner.size(), Bytes(inner.begin(), inner.end()), MaxUnpackedBytes);
    bool allReadable = std::all_of(tag.frames().begin(), tag.frames().end(),
        [](const TagFrame& frame) { return frame.readable && frame.id.size() == 4; });
    if (!tag.complete() || !allReadable)
        return { content.begin(), content.end() };
    Bytes body(content.begin(), content.begin() + static_cast<std::ptrdiff_t>(begin));
    ByteWriter writer(body);
    for (const TagFrame& frame : tag.frames()) {
        auto form = v23Body(frame);
        ByteView inside = form ? *form : frame.body;
        writer.text(frame.id);
        writer.u32be(static_cast<std::uint32_t>(inside.size()));
        writer.u16be(0);
        writer.bytes(inside);
    }
    return body;
}

} // namespace mv
