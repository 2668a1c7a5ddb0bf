#include "tests/mp4/EditedFile.h"

#include <gtest/gtest.h>
#include <numeric>

namespace mv::test {

Bytes countedMedia(std::size_t size)
{
    Bytes media(size);
    std::iota(media.begin(), media.end(), std::uint8_t { 1 });
    return media;
}

Bytes perform(const FileContent& content, const Bytes& source)
{
    Bytes result;
    for (const FileSegment& segment : content) {
        if (segment.isCopy) {
            auto begin = source.begin() + static_cast<std::ptrdiff_t>(segment.offset);
            result.insert(result.end(), begin, begin + static_cast<std::ptrdiff_t>(segment.length));
        } else {
            result.insert(result.end(), segment.bytes.begin(), segment.bytes.end());
        }
    }
    return result;
}

std::uint64_t chunkOffset(const Bytes& file, std::size_t track)
{
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    const Box& table = *facts->tracks.at(track).boxes.chunkOffsets;
    ByteReader fields(payloadStart(reader, table, 16));
    fields.skip(8);
    return table.type == fourCC("co64") ? fields.u64be() : fields.u32be();
}

MP4ItmfItemList withName(const MP4ItmfItemList& items, std::string_view name)
{
    MP4Tags tags = tagsFromItems(items);
    MP4TagsSetName(tags, name);
    return itemsWithTags(items, tags);
}

Edited rename(const Bytes& source, std::string_view name)
{
    StructureReader before { ByteView(source) };
    auto facts = readMovieFacts(before);
    auto items = withName(readItems(before, facts->movieBox).value(), name);
    auto plan = planEdit(before, items);
    EXPECT_TRUE(plan.ok()) << (plan.ok() ? "" : plan.error().text);
    if (!plan.ok())
        return {};
    Edited edited { plan->layout,
        plan->layout == EditPlan::Layout::Unchanged ? source : perform(plan->content, source) };
    EXPECT_EQ(
        edited.bytes.size(), plan->layout == EditPlan::Layout::Unchanged ? source.size() : lengthOf(plan->content));
    StructureReader after { ByteView(edited.bytes) };
    auto checked = checkEdit(before, after, items);
    EXPECT_TRUE(checked.ok()) << (checked.ok() ? "" : checked.error().text);
    std::uint64_t oldChunk = chunkOffset(source);
    std::uint64_t newChunk = chunkOffset(edited.bytes);
    for (std::size_t i = 0; i < 100 && oldChunk + i < source.size(); i++)
        EXPECT_EQ(source.at(oldChunk + i), edited.bytes.at(newChunk + i)) << i;
    return edited;
}

Mp4Spec namedSpec()
{
    Mp4Spec spec;
    spec.items = joined({ textItem("\251nam", "name"), textItem("xyz ", "unknown"), textItem("\251ART", "artist") });
    spec.media = countedMedia(600);
    return spec;
}

Result<EditPlan> planLongName(const Bytes& source)
{
    StructureReader reader { ByteView(source) };
    auto facts = readMovieFacts(reader);
    return planEdit(reader, withName(readItems(reader, facts->movieBox).value(), std::string(500, 'n')));
}

} // namespace mv::test
