#include "service/tags/Id3TagLayout.h"

#include "Base/Core/ByteReader.h"
#include "id3/Syncsafe.h"
#include "system/FileContent.h"

#include <algorithm>

namespace mv {

namespace {

// Room that a growing tag gets besides its frames, so that the next small change keeps the size.
constexpr std::uint64_t SparePadding = 1024;
// A tag with more padding than this has lost a picture and gives the room back.
constexpr std::uint64_t MaxPadding = 64 * 1024;

std::uint64_t wholeBlocks(std::uint64_t bytes)
{
    return (bytes + SharedBlockBytes - 1) / SharedBlockBytes * SharedBlockBytes;
}

} // namespace

Result<Id3TagLayout> layOutTag(const TagSet& tags, std::size_t frameBytes)
{
    Id3TagLayout layout;
    // A tag at the end stays, but one at the front hides it.
    const auto& replaced = tags.countingTags();
    if (!std::all_of(replaced.begin(), replaced.end(), [](const Id3v2Tag& tag) { return tag.complete(); }))
        return Error { Error::Kind::Unsupported, "the present ID3v2 tag cannot be read whole" };
    if (!tags.prependedTags.empty())
        layout.oldSize = tags.prependedTags.back().extent().end();
    if (frameBytes == 0)
        return layout;
    std::uint64_t needed = Id3v2Tag::HeaderSize + frameBytes;
    layout.newSize = layout.oldSize;
    if (needed > layout.oldSize)
        layout.newSize += wholeBlocks(needed + SparePadding - layout.oldSize);
    else if (layout.oldSize - needed > MaxPadding)
        layout.newSize -= (layout.oldSize - needed - SparePadding) / SharedBlockBytes * SharedBlockBytes;
    layout.newSize = std::min<std::uint64_t>(layout.newSize, Id3v2Tag::HeaderSize + MaxTagBytes);
    return layout;
}

Bytes tagBytes(ByteView frames, std::uint64_t size, int version)
{
    Bytes bytes;
    bytes.reserve(static_cast<std::size_t>(size));
    ByteWriter writer(bytes);
    writer.text("ID3");
    writer.u8(static_cast<std::uint8_t>(version));
    writer.u8(0);
    writer.u8(0); // no unsynchronisation: every player of today skips tags by their size
    writer.bytes(syncsafeBytes(static_cast<std::uint32_t>(size - Id3v2Tag::HeaderSize)));
    writer.bytes(frames);
    writer.zeros(static_cast<std::size_t>(size) - bytes.size());
    return bytes;
}

} // namespace mv
