// Read, edit, write, read again: the new tags are there, nothing else is lost, every chunk leads to the same bytes,
// or to none as before.
#include "mp4/ChunkExtents.h"
#include "mp4/MetadataEdit.h"
#include "mp4/mp4.h"

#include <cstddef>
#include <cstdint>
#include <cstdlib>

using namespace mv;

namespace {

void require(bool condition)
{
    if (!condition)
        std::abort();
}

Bytes perform(const FileContent& content, ByteView source)
{
    Bytes result;
    for (const FileSegment& segment : content) {
        if (segment.isCopy)
            require(segment.offset <= source.size() && segment.length <= source.size() - segment.offset);
        ByteView part = segment.isCopy ? source.subspan(segment.offset, segment.length) : ByteView(segment.bytes);
        result.insert(result.end(), part.begin(), part.end());
    }
    return result;
}

std::vector<std::uint64_t> chunkOffsets(StructureReader& reader)
{
    std::vector<std::uint64_t> offsets;
    auto facts = readMovieFacts(reader);
    for (const TrackFacts& track : facts->tracks) {
        if (!track.boxes.chunkOffsets)
            continue;
        const Box& table = *track.boxes.chunkOffsets;
        ByteReader fields(payloadStart(reader, table, StructureReader::WindowSize));
        fields.skip(4);
        std::uint32_t count = fields.u32be();
        for (std::uint32_t i = 0; i < count && !fields.failed(); ++i) {
            std::uint64_t offset = table.type == fourCC("co64") ? fields.u64be() : fields.u32be();
            if (!fields.failed())
                offsets.push_back(offset);
        }
    }
    return offsets;
}

void compareMedia(ByteView before, const std::vector<std::uint64_t>& oldOffsets, ByteView after,
    const std::vector<std::uint64_t>& newOffsets)
{
    require(oldOffsets.size() == newOffsets.size());
    for (std::size_t i = 0; i < oldOffsets.size(); ++i) {
        bool inside = oldOffsets[i] < before.size();
        require(!inside || (newOffsets[i] < after.size() && before[oldOffsets[i]] == after[newOffsets[i]]));
    }
}

/// Whether samples lie behind the end of the file.
bool isCut(ByteView file)
{
    StructureReader reader(file);
    auto movie = readMovieFacts(reader)->movieBox;
    return anyChunk(file.subspan(movie.offset, movie.size), [&](auto chunk) { return chunk.end > file.size(); });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 2)
        return 0;
    std::size_t length = std::size_t { data[0] } * (data[1] % 32);
    ByteView source(data + 2, size - 2);
    StructureReader before(source);
    MP4Tags wanted;
    MetadataEdit edit([&](const MP4ItmfItemList& items) {
        wanted = tagsFromItems(items);
        MP4TagsSetComments(wanted, std::string(length, 'c'));
        if (data[1] & 0x80)
            wanted.artwork.clear();
        return itemsWithTags(items, wanted);
    });
    auto plan = edit.plan(before);
    if (!plan.ok() || !*plan)
        return 0;
    Bytes made = perform(**plan, source);
    StructureReader after { ByteView(made) };
    // What the check refuses is never put into a file's place.
    if (!edit.check(after).ok())
        return 0;
    require(tagsFromItems(readItems(after, readMovieFacts(after)->userDataBoxes).value()) == wanted);
    compareMedia(source, chunkOffsets(before), made, chunkOffsets(after));
    require(isCut(source) == isCut(made));
    return 0;
}
