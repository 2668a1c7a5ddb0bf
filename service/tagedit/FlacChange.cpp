#include "service/tagedit/FlacChange.h"

#include "Base/Core/ByteReader.h"
#include "service/tagedit/Id3Change.h"
#include "service/tagedit/VorbisChange.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::uint8_t StreamInfo = 0;
constexpr std::uint8_t Padding = 1;
constexpr std::uint8_t Comments = 4;
constexpr std::uint8_t Picture = 6;
constexpr std::uint8_t LastBlock = 0x80;
constexpr std::size_t HeaderSize = 4;
constexpr std::size_t MaxBlockSize = 0xFFFFFF;
constexpr std::size_t MaxBlocks = 1000;
constexpr std::size_t NewPadding = 4096;
constexpr std::size_t MaxPadding = 64 * 1024; // more is given back

struct Block {
    std::uint8_t type = 0;
    Bytes body;

    bool operator==(const Block&) const = default;
};

Error damaged() { return { Error::Kind::Unsupported, "the blocks in front of the sound cannot be read whole" }; }

struct Front {
    std::vector<Block> blocks;
    std::size_t size = 0; ///< with headers
    std::size_t padding = 0;
};

Result<Front> readFront(const ByteSource& file, std::uint64_t place)
{
    Front front;
    bool isLast = false;
    while (!isLast) {
        std::uint8_t header[HeaderSize];
        if (file.readUpTo(place, header) != HeaderSize || front.blocks.size() == MaxBlocks)
            return damaged();
        ByteReader fields(header);
        std::uint8_t kind = fields.u8();
        std::uint32_t size = fields.u24be();
        isLast = kind & LastBlock;
        Block block { static_cast<std::uint8_t>(kind & ~LastBlock), {} };
        bool isCutOff = size > file.size() - std::min(file.size(), place + HeaderSize);
        if (front.blocks.empty() != (block.type == StreamInfo) || isCutOff || front.size + size > MaxTagBytes)
            return damaged();
        MV_TRY(body, file.bytesAt(place + HeaderSize, size));
        if (block.type == Padding)
            front.padding += size;
        block.body = std::move(body);
        front.blocks.push_back(std::move(block));
        front.size += HeaderSize + size;
        place += HeaderSize + size;
    }
    return front;
}

/// There should be one block of comments. Where there are more, all are read, and the first is written to.
Result<void> changeComments(std::vector<Block>& blocks, const TagChanges& changes)
{
    TagChanges removal = changes.removalOfTexts();
    if (changes.frontCover)
        removal.frontCover = Bytes();
    const TagChanges* next = &changes;
    for (Block& block : blocks) {
        if (block.type != Comments)
            continue;
        MV_TRY(changed, changedVorbisComments(block.body, *next, false));
        block.body = std::move(changed);
        next = &removal;
    }
    if (next == &removal)
        return {};
    const Bytes empty = emptyVorbisComments();
    MV_TRY(made, changedVorbisComments(empty, changes, false));
    if (made != empty)
        blocks.insert(blocks.begin() + 1, { Comments, std::move(made) });
    return {};
}

void changeCover(std::vector<Block>& blocks, ByteView picture)
{
    auto cover = std::find_if(blocks.begin(), blocks.end(),
        [](const Block& block) { return block.type == Picture && isFlacFrontCover(block.body); });
    if (picture.empty()) {
        if (cover != blocks.end())
            blocks.erase(cover);
        return;
    }
    if (cover != blocks.end()) {
        cover->body = flacPictureBlock(picture);
        return;
    }
    // Before other pictures, and before the room at the end.
    auto place = std::find_if(blocks.begin() + 1, blocks.end(),
        [](const Block& block) { return block.type == Picture || block.type == Padding; });
    blocks.insert(place, { Picture, flacPictureBlock(picture) });
}

/// The blocks one behind the other, all room in one at the end.
Result<Bytes> rendered(std::vector<Block> blocks, const Front& old)
{
    std::erase_if(blocks, [](const Block& block) { return block.type == Padding; });
    std::size_t needed = 0;
    for (const Block& block : blocks) {
        if (block.body.size() > MaxBlockSize)
            return Error { Error::Kind::Limit, "a block of this format has at most 16 MiB" };
        needed += HeaderSize + block.body.size();
    }
    if (needed > MaxTagBytes)
        return Error { Error::Kind::Limit, "the tag would be larger than tags are read" };
    const std::size_t mostRoom = HeaderSize + std::min(MaxBlockSize, std::max(old.padding, MaxPadding));
    std::size_t room = old.size >= needed ? old.size - needed : 0;
    bool fits = needed == old.size || (room >= HeaderSize && room <= mostRoom);
    if (!fits)
        room = HeaderSize + NewPadding;
    if (room > 0)
        blocks.push_back({ Padding, Bytes(room - HeaderSize) });
    Bytes bytes;
    ByteWriter out(bytes);
    for (std::size_t i = 0; i < blocks.size(); ++i) {
        out.u8(static_cast<std::uint8_t>(blocks[i].type | (i + 1 == blocks.size() ? LastBlock : 0)));
        out.u24be(static_cast<std::uint32_t>(blocks[i].body.size()));
        out.bytes(blocks[i].body);
    }
    return bytes;
}

} // namespace

Result<Splices> flacSplices(const ByteSource& file, const TagChanges& changes)
{
    constexpr std::string_view Marker = "fLaC";
    MV_TRY(tags, readTags(file));
    MV_TRY(marker, file.bytesAt(tags.audioBegin, Marker.size()));
    if (charsOf(marker) != Marker)
        return damaged();
    MV_TRY(front, readFront(file, tags.audioBegin + Marker.size()));
    std::vector<Block> blocks = front.blocks;
    MV_TRY_VOID(changeComments(blocks, changes));
    if (changes.frontCover)
        changeCover(blocks, *changes.frontCover);
    MV_TRY(splices, id3Splices(file, tags, changes, false));
    if (blocks == front.blocks)
        return splices;
    MV_TRY(bytes, rendered(std::move(blocks), front));
    splices.push_back({ tags.audioBegin + Marker.size(), front.size, std::move(bytes) });
    return splices;
}

} // namespace mv
