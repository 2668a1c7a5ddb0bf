#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

Bytes extends(std::uint32_t defaultDuration, std::uint32_t defaultSize, const Bytes& mehd = {})
{
    return box("mvex",
        { mehd,
            fullBox("trex", 0, 0,
                { number(1, 4), number(1, 4), number(defaultDuration, 4), number(defaultSize, 4), number(0, 4) }) });
}

Bytes fragment(const Bytes& tfhd, const std::vector<Bytes>& runs)
{
    return joined({ box("moof", { fullBox("mfhd", 0, 0, { number(1, 4) }), box("traf", { tfhd, joined(runs) }) }),
        box("mdat", Bytes(50)) });
}

struct Lengths {
    std::uint64_t duration;
    std::uint32_t rate;
    std::uint64_t samples;
};

Lengths lengthsOf(const TrackSpec& track, const Bytes& mvex, const Bytes& behind)
{
    Mp4Spec spec;
    spec.tracks = { track };
    spec.extraInMovie = mvex;
    spec.media = {};
    spec.behind = behind;
    Bytes file = makeMp4(spec).bytes;
    auto opened = Mp4File::open(StructureReader(ByteView(file)));
    EXPECT_TRUE(opened->facts().extendsBox);
    return { MP4GetTrackDuration(*opened, 1), MP4GetTrackBitRate(*opened, 1),
        opened->facts().tracks[0].fragmentSamples };
}

const TrackSpec emptyTrack { .timeScale = 1000, .duration = 0, .sampleSizes = {} };

TEST(Fragments, DefaultsComeFromTrexThenTfhdThenTheRun)
{
    Bytes plain = fullBox("tfhd", 0, 0x020000, { number(1, 4) });
    Bytes run = fullBox("trun", 0, 0, { number(10, 4) });
    Lengths trex = lengthsOf(emptyTrack, extends(20, 100), fragment(plain, { run }));
    EXPECT_EQ(trex.duration, 200u);
    EXPECT_EQ(trex.rate, 10u * 100 * 8 * 1000 / 200);
    EXPECT_EQ(trex.samples, 10u);

    Bytes stated = fullBox(
        "tfhd", 0, 0x3B, { number(1, 4), number(4000, 8), number(1, 4), number(30, 4), number(50, 4), number(0, 4) });
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100), fragment(stated, { run })).duration, 300u);

    Bytes rows = fullBox("trun", 0, 0x000F05,
        { number(2, 4), number(0, 4), number(0, 4), number(7, 4), number(11, 4), number(0, 8), number(8, 4),
            number(12, 4), number(0, 8) });
    Lengths own = lengthsOf(emptyTrack, extends(20, 100), fragment(plain, { rows, run }));
    EXPECT_EQ(own.duration, 15u + 200u);
    EXPECT_EQ(own.samples, 12u);
}

TEST(Fragments, AreAddedToTheSamplesInTheMovieBox)
{
    Bytes plain = fullBox("tfhd", 0, 0, { number(1, 4) });
    Bytes run = fullBox("trun", 0, 0, { number(10, 4) });
    TrackSpec track { .timeScale = 1000, .duration = 300, .sampleSizes = { 100, 100 } };
    EXPECT_EQ(lengthsOf(track, extends(20, 100), fragment(plain, { run })).duration, 500u);
    // A length without samples is that of the whole.
    TrackSpec whole { .timeScale = 1000, .duration = 900, .sampleSizes = {} };
    EXPECT_EQ(lengthsOf(whole, extends(20, 100), fragment(plain, { run })).duration, 900u);
}

TEST(Fragments, OfOtherTracksDoNotCount)
{
    Bytes other = fullBox("tfhd", 0, 0, { number(9, 4) });
    Bytes run = fullBox("trun", 0, 0, { number(10, 4) });
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100), fragment(other, { run })).duration, 0u);
}

TEST(Fragments, WithoutAnyTheIndexThenTheExtendsHeaderTellTheLength)
{
    Bytes sidx = fullBox("sidx", 0, 0,
        { number(1, 4), number(100, 4), number(0, 8), number(0, 2), number(2, 2), number(500, 4), number(150, 4),
            number(0, 4), number(500, 4), number(50, 4), number(0, 4) });
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100), sidx).duration, 2000u);
    Bytes mehd = fullBox("mehd", 0, 0, { number(1200, 4) }); // of a movie of 600 ticks a second
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100, mehd), {}).duration, 2000u);
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100), {}).duration, 0u);
}

TEST(Fragments, CountsBeyondTheRunAreThoseOfItsRows)
{
    Bytes plain = fullBox("tfhd", 0, 0, { number(1, 4) });
    Bytes run = fullBox("trun", 0, 0x300, { number(UINT32_MAX, 4), number(5, 4), number(6, 4) });
    Lengths lengths = lengthsOf(emptyTrack, extends(20, 100), fragment(plain, { run }));
    EXPECT_EQ(lengths.samples, 1u);
    EXPECT_EQ(lengths.duration, 5u);
    // Without rows any count is a sum of defaults.
    Bytes many = fullBox("trun", 0, 0, { number(UINT32_MAX, 4) });
    EXPECT_EQ(lengthsOf(emptyTrack, extends(20, 100), fragment(plain, { many })).duration, UINT32_MAX * 20ull);
}

TEST(Fragments, LengthenAMovieWhoseHeaderTellsOfItsFirstSamplesOnly)
{
    Mp4Spec spec; // a movie header of one second
    spec.tracks = { { .timeScale = 1000, .duration = 1000, .sampleSizes = { 100 } } };
    spec.extraInMovie = extends(1000, 1);
    spec.behind = fragment(fullBox("tfhd", 0, 0, { number(1, 4) }), { fullBox("trun", 0, 0, { number(4, 4) }) });
    Bytes file = makeMp4(spec).bytes;
    StructureReader reader { ByteView(file) };
    EXPECT_EQ(readMovieFacts(reader)->duration, 5u * 600);
}

TEST(Fragments, GiveTheMovieItsDuration)
{
    Bytes header = fullBox("mvhd", 0, 0, { number(0, 8), number(600, 4), number(0, 4), Bytes(80) });
    Mp4Spec spec;
    spec.tracks = { emptyTrack };
    Bytes track = movieBox(spec, 0);
    // The maker's movie box without its header: take its track box.
    Bytes trak(track.begin() + 116, track.end());
    Bytes file = joined({ box("moov", { header, trak, extends(1000, 1) }),
        fragment(fullBox("tfhd", 0, 0, { number(1, 4) }), { fullBox("trun", 0, 0, { number(3, 4) }) }) });
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    ASSERT_TRUE(facts.ok());
    EXPECT_EQ(facts->duration, 3u * 600);
}

} // namespace
} // namespace mv
