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

std::uint64_t chunkOffset(const Bytes& file, std::size_t track)
{
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    const Box& table = *facts->tracks.at(track).boxes.chunkOffsets;
    ByteReader fields(payloadStart(reader, table, 16));
    fields.skip(8);
    return table.type == fourCC("co64") ? fields.u64be() : fields.u32be();
}

namespace {

Box movieBoxOf(const Bytes& file)
{
    StructureReader reader { ByteView(file) };
    return readMovieFacts(reader).value().movieBox;
}

Layout layoutOf(const Bytes& before, const Bytes& after)
{
    Box old = movieBoxOf(before);
    Box made = movieBoxOf(after);
    if (made.offset == old.offset && made.size == old.size)
        return Layout::InPlace;
    if (after.size() == before.size())
        return Layout::FreeSpace;
    return made.end() == after.size() ? Layout::AtTheEnd : Layout::Shifted;
}

} // namespace

MetadataEdit renaming(std::string_view name)
{
    return tagEdit([name = std::string(name)](MP4Tags& tags) { MP4TagsSetName(tags, name); });
}

Edited edited(const Bytes& source, MetadataEdit edit)
{
    auto plan = edit.plan(StructureReader(ByteView(source)));
    EXPECT_TRUE(plan.ok()) << (plan.ok() ? "" : plan.error().text);
    if (!plan.ok())
        return {};
    if (!*plan)
        return { Layout::Unchanged, source };
    Bytes made = performed(**plan, source);
    EXPECT_EQ(made.size(), lengthOf(**plan));
    auto checked = edit.check(StructureReader(ByteView(made)));
    EXPECT_TRUE(checked.ok()) << (checked.ok() ? "" : checked.error().text);
    return { layoutOf(source, made), made };
}

Edited rename(const Bytes& source, std::string_view name)
{
    Edited result = edited(source, renaming(name));
    std::uint64_t oldChunk = chunkOffset(source);
    std::uint64_t newChunk = chunkOffset(result.bytes);
    for (std::size_t i = 0; i < 100 && oldChunk + i < source.size(); ++i)
        EXPECT_EQ(source.at(oldChunk + i), result.bytes.at(newChunk + i)) << i;
    return result;
}

Mp4Spec namedSpec()
{
    Mp4Spec spec;
    spec.items = joined({ textItem("\251nam", "name"), textItem("xyz ", "unknown"), textItem("\251ART", "artist") });
    spec.media = countedMedia(600);
    return spec;
}

Result<std::optional<FileContent>> planLongName(const Bytes& source)
{
    return renaming(std::string(500, 'n')).plan(StructureReader(ByteView(source)));
}

} // namespace mv::test
