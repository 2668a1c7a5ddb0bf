// Where chunks begin and end, by every kind of table.
#include "mp4/ChunkExtents.h"
#include "tests/support/Mp4Maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;
using testing::ElementsAre;
using testing::Pair;

std::vector<std::pair<std::uint64_t, std::uint64_t>> extents(const Bytes& movieBox)
{
    std::vector<std::pair<std::uint64_t, std::uint64_t>> found;
    EXPECT_FALSE(anyChunk(movieBox, [&](const ChunkExtent& chunk) {
        found.emplace_back(chunk.begin, chunk.end);
        return false;
    }));
    return found;
}

Bytes movieOf(const std::string& handler, const std::string& code, const Bytes& sizes, const std::vector<Bytes>& runs,
    const Bytes& offsets)
{
    Bytes description = box(code, { number(0, 6), number(1, 2), number(0, 8), number(2, 2), number(16, 2), Bytes(8) });
    Bytes table = box("stbl",
        { fullBox("stsd", 0, 0, { number(1, 4), description }),
            fullBox("stsc", 0, 0, { number(runs.size(), 4), joined(runs) }), sizes, offsets });
    Bytes media = fullBox("hdlr", 0, 0, { number(0, 4), bytes(handler), Bytes(13) });
    return box("moov", box("trak", box("mdia", { media, box("minf", table) })));
}

Bytes run(std::uint32_t firstChunk, std::uint32_t samples)
{
    return joined({ number(firstChunk, 4), number(samples, 4), number(1, 4) });
}

Bytes offsets(const std::vector<std::uint32_t>& all)
{
    Bytes rows;
    for (std::uint32_t offset : all)
        rows = joined({ rows, number(offset, 4) });
    return fullBox("stco", 0, 0, { number(all.size(), 4), rows });
}

Bytes sizes(const std::vector<std::uint32_t>& all)
{
    Bytes rows;
    for (std::uint32_t size : all)
        rows = joined({ rows, number(size, 4) });
    return fullBox("stsz", 0, 0, { number(0, 4), number(all.size(), 4), rows });
}

TEST(ChunkExtents, RunsOfChunksAndSizesOfSamplesAreAdded)
{
    Bytes movie = movieOf("soun", "mp4a", sizes({ 1, 2, 4, 8, 16, 32, 64 }), { run(1, 2), run(3, 1), run(4, 5) },
        offsets({ 1000, 2000, 3000, 4000 }));
    EXPECT_THAT(extents(movie), ElementsAre(Pair(1000, 1003), Pair(2000, 2012), Pair(3000, 3016), Pair(4000, 4096)));
}

TEST(ChunkExtents, SizesMayBeEqualOrCompact)
{
    std::vector<Bytes> runs = { run(1, 3), run(2, 2) };
    Bytes chunks = offsets({ 100, 200 });
    Bytes equal = fullBox("stsz", 0, 0, { number(7, 4), number(5, 4) });
    EXPECT_THAT(extents(movieOf("soun", "mp4a", equal, runs, chunks)), ElementsAre(Pair(100, 121), Pair(200, 214)));
    Bytes bytes = fullBox("stz2", 0, 0, { number(8, 4), number(5, 4), Bytes { 1, 2, 3, 4, 5 } });
    EXPECT_THAT(extents(movieOf("soun", "mp4a", bytes, runs, chunks)), ElementsAre(Pair(100, 106), Pair(200, 209)));
    // The second chunk begins in the middle of a byte.
    Bytes halves = fullBox("stz2", 0, 0, { number(4, 4), number(5, 4), Bytes { 0x12, 0x34, 0x5F } });
    EXPECT_THAT(extents(movieOf("soun", "mp4a", halves, runs, chunks)), ElementsAre(Pair(100, 106), Pair(200, 209)));
    // Sixteen bits, two channels; the table counts frames.
    Bytes frames = fullBox("stsz", 0, 0, { number(1, 4), number(5, 4) });
    EXPECT_THAT(extents(movieOf("soun", "sowt", frames, runs, chunks)), ElementsAre(Pair(100, 112), Pair(200, 208)));
}

TEST(ChunkExtents, TablesThatDoNotFitEachOtherEndWithTheShorter)
{
    Bytes few = sizes({ 10, 10 });
    EXPECT_THAT(extents(movieOf("soun", "mp4a", few, { run(1, 0xFFFFFFFF) }, offsets({ 100, 200 }))),
        ElementsAre(Pair(100, 120), Pair(200, 200)));
    EXPECT_THAT(extents(movieOf("soun", "mp4a", few, {}, offsets({ 100 }))), ElementsAre(Pair(100, 100)));
    EXPECT_THAT(extents(movieOf("soun", "mp4a", few, { run(1, 2) }, Bytes {})), ElementsAre());
    EXPECT_THAT(
        extents(movieOf("soun", "mp4a", Bytes {}, { run(1, 2) }, offsets({ 100 }))), ElementsAre(Pair(100, 100)));
    EXPECT_THAT(extents(bytes("no movie")), ElementsAre());
}

} // namespace
} // namespace mv
