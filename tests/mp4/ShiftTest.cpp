// Edits that move what follows the movie box, and every offset to it.
#include "tests/mp4/EditedFile.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

TEST(Shift, AFileThatEndsInSomethingElseIsShifted)
{
    for (bool wide : { false, true }) {
        Mp4Spec spec = namedSpec();
        spec.behind = bytes("TAG that some program put here");
        spec.tracks[0].wideOffsets = wide;
        MadeMp4 made = makeMp4(spec);
        Edited edited = rename(made.bytes, std::string(500, 'n'));
        EXPECT_EQ(edited.layout, Layout::Shifted);
        EXPECT_EQ(chunkOffset(edited.bytes), made.mediaOffset + SharedBlockBytes);
        EXPECT_TRUE(charsOf(edited.bytes).ends_with("TAG that some program put here"));
    }
}

std::uint32_t tableType(const Bytes& file, std::size_t track)
{
    StructureReader reader { ByteView(file) };
    return readMovieFacts(reader)->tracks.at(track).boxes.chunkOffsets->type;
}

TEST(Shift, OffsetsThatNoLongerFitBecomeWideOnes)
{
    Mp4Spec spec = namedSpec();
    spec.behind = bytes("TAG that some program put here");
    spec.tracks.resize(3);
    spec.freeBefore = 200;
    spec.tracks[0].chunks = { 60, 0xFFFF'FF00, 0xFFFF'FFFF }; // the first lies in front of what moves
    spec.tracks[1].id = 2;
    spec.tracks[2].id = 3;
    spec.tracks[2].wideOffsets = true;
    spec.tracks[2].chunks = { 0xFFFF'FFFF'FF };
    MadeMp4 made = makeMp4(spec);
    Edited edited = rename(made.bytes, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::Shifted);
    EXPECT_EQ((edited.bytes.size() - made.bytes.size()) % SharedBlockBytes, 0u);
    std::uint64_t delta = edited.bytes.size() - made.bytes.size();
    Bytes wide = fullBox(
        "co64", 0, 0, { number(3, 4), number(60, 8), number(0xFFFF'FF00 + delta, 8), number(0xFFFF'FFFF + delta, 8) });
    EXPECT_NE(charsOf(edited.bytes).find(charsOf(wide)), std::string_view::npos);
    EXPECT_EQ(tableType(edited.bytes, 1), fourCC("stco"));
    EXPECT_EQ(chunkOffset(edited.bytes, 1), made.mediaOffset + delta);
    EXPECT_EQ(chunkOffset(edited.bytes, 2), 0xFFFF'FFFF'FF + delta);
    EXPECT_TRUE(charsOf(edited.bytes).ends_with("TAG that some program put here"));
}

TEST(Shift, UnsafeShiftsAreRefused)
{
    auto refused = [](Mp4Spec spec) {
        spec.behind = bytes("not a box at all");
        auto plan = planLongName(makeMp4(spec).bytes);
        return !plan.ok() && plan.error().kind == Error::Kind::Unsupported;
    };
    Mp4Spec encrypted = namedSpec();
    encrypted.tracks[0].code = "enca";
    EXPECT_TRUE(refused(encrypted));
    Mp4Spec external = namedSpec();
    external.tracks[0].externalMedia = true;
    EXPECT_TRUE(refused(external));
    Mp4Spec located = namedSpec();
    located.extraInMovie = fullBox("meta", 0, 0, { fullBox("iloc", 0, 0, { number(0, 8) }) });
    EXPECT_TRUE(refused(located));
    Mp4Spec around = namedSpec(); // one chunk from before the movie box to behind it
    around.freeBefore = 100;
    around.tracks[0].chunks = { 50 };
    around.tracks[0].sampleSizes = { 100'000 };
    EXPECT_TRUE(refused(around));
    EXPECT_FALSE(refused(namedSpec()));
}

TEST(Shift, FragmentedFilesKeepTheMovieBoxInFront)
{
    Mp4Spec spec = namedSpec();
    spec.extraInMovie = box("mvex", fullBox("trex", 0, 0, { number(1, 4), number(1, 4), number(1024, 4), Bytes(8) }));
    MadeMp4 plain = makeMp4(spec);
    std::uint64_t fragment = plain.bytes.size();
    Bytes moof = box("moof",
        box("traf",
            { fullBox("tfhd", 0, 1, { number(1, 4), number(fragment, 8) }), fullBox("trun", 0, 0, { number(5, 4) }) }));
    Bytes table = fullBox("tfra", 1, 0,
        { number(1, 4), number(0, 4), number(1, 4), number(0, 8), number(fragment, 8), number(0x010101, 3) });
    Bytes index = fullBox("sidx", 0, 0, { number(1, 4), number(44100, 4), number(0, 4), number(77, 4), number(0, 4) });
    spec.behind = joined({ moof, box("mdat", countedMedia(200)), box("mfra", table) });
    spec.inFront = {};
    Bytes source = makeMp4(spec).bytes;
    Edited edited = rename(source, std::string(500, 'n'));
    EXPECT_EQ(edited.layout, Layout::Shifted);
    std::uint64_t delta = SharedBlockBytes;
    Bytes movedMoof = box("moof",
        box("traf",
            { fullBox("tfhd", 0, 1, { number(1, 4), number(fragment + delta, 8) }),
                fullBox("trun", 0, 0, { number(5, 4) }) }));
    EXPECT_EQ(charsOf(edited.bytes).substr(fragment + delta, movedMoof.size()), charsOf(movedMoof));
    Bytes movedTable = fullBox("tfra", 1, 0,
        { number(1, 4), number(0, 4), number(1, 4), number(0, 8), number(fragment + delta, 8), number(0x010101, 3) });
    EXPECT_TRUE(charsOf(edited.bytes).ends_with(charsOf(movedTable)));

    // An index in front of the movie box counts from its own end.
    Mp4Spec indexed = spec;
    indexed.inFront = index;
    Bytes movedIndex
        = fullBox("sidx", 0, 0, { number(1, 4), number(44100, 4), number(0, 4), number(77 + delta, 4), number(0, 4) });
    Edited second = rename(makeMp4(indexed).bytes, std::string(500, 'n'));
    EXPECT_TRUE(charsOf(second.bytes).starts_with(charsOf(movedIndex)));
}

} // namespace
} // namespace mv
