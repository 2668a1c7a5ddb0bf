// The first sound track: which one it is, how long, and how many bits a second.
#include "mp4/SampleTable.h"
#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

/// An open file together with the bytes behind it.
struct Opened {
    Bytes bytes;
    Mp4File file;

    explicit Opened(const Mp4Spec& spec)
        : bytes(makeMp4(spec).bytes)
        , file(Mp4File::open(StructureReader(ByteView(bytes))).value())
    {
    }
};

Mp4Spec withTrack(TrackSpec track)
{
    Mp4Spec spec;
    spec.tracks = { std::move(track) };
    return spec;
}

TEST(FindTrack, CountsTracksOfTheHandlerInTheFilesOrder)
{
    Mp4Spec spec;
    spec.tracks
        = { { .id = 7, .handler = "vide", .code = "avc1" }, { .id = 5 }, { .id = 3, .handler = "text" }, { .id = 2 } };
    Opened opened(spec);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0), 5u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 1, "soun", 0), 2u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 2, "soun", 0), MP4_INVALID_TRACK_ID);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "vide", 0), 7u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 2, nullptr, 0), 3u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "hint", 0), MP4_INVALID_TRACK_ID);
}

TEST(FindTrack, TellsMpeg4ObjectTypesApart)
{
    auto sound = [](std::uint32_t id, int objectType) {
        Bytes decoder
            = joined({ number(4, 1), number(13, 1), number(static_cast<std::uint64_t>(objectType), 1), Bytes(12) });
        Bytes es = joined({ number(3, 1), number(3 + decoder.size(), 1), number(0, 3), decoder });
        Bytes entry = box("mp4a", { number(0, 6), number(1, 2), Bytes(20), fullBox("esds", 0, 0, { es }) });
        return TrackSpec { .id = id, .descriptionBox = fullBox("stsd", 0, 0, { number(1, 4), entry }) };
    };
    Mp4Spec spec;
    spec.tracks = { sound(1, 0x6B), sound(2, 0x40) };
    Opened opened(spec);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0x40), 2u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0x6B), 1u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0xA5), MP4_INVALID_TRACK_ID);
}

TEST(TrackLength, OfBothMediaHeaderVersions)
{
    Opened narrow(withTrack({ .timeScale = 44100, .duration = 1'234'567 }));
    EXPECT_EQ(MP4GetTrackDuration(narrow.file, 1), 1'234'567u);
    EXPECT_EQ(MP4GetTrackTimeScale(narrow.file, 1), 44100u);
    Opened wide(withTrack({ .timeScale = 48000, .duration = 1ull << 40, .version = 1 }));
    EXPECT_EQ(MP4GetTrackDuration(wide.file, 1), 1ull << 40);
    EXPECT_EQ(MP4GetTrackTimeScale(wide.file, 1), 48000u);
    EXPECT_EQ(MP4GetTrackDuration(wide.file, 9), 0u);
    EXPECT_EQ(MP4GetTrackTimeScale(wide.file, 9), 0u);
    EXPECT_EQ(MP4GetTrackBitRate(wide.file, 9), 0u);
}

TEST(TrackLength, UnknownDurationIsTakenFromTheSampleTable)
{
    // All ones in mdhd; the table of the maker divides the duration among three samples.
    Mp4Spec spec = withTrack({ .duration = UINT32_MAX });
    Opened opened(spec);
    EXPECT_EQ(MP4GetTrackDuration(opened.file, 1), UINT32_MAX / 3 * 3u);
}

TEST(BitRate, IsAllSampleBytesOverTheDurationRoundedUp)
{
    Opened exact(withTrack({ .timeScale = 1000, .duration = 1000, .sampleSizes = { 100, 200, 300 } }));
    EXPECT_EQ(MP4GetTrackBitRate(exact.file, 1), 4800u);
    Opened rounded(withTrack({ .timeScale = 1000, .duration = 1001, .sampleSizes = { 100, 200, 300 } }));
    EXPECT_EQ(MP4GetTrackBitRate(rounded.file, 1), 4796u); // 4795.2
    Opened zero(withTrack({ .timeScale = 1000, .duration = 0 }));
    EXPECT_EQ(MP4GetTrackBitRate(zero.file, 1), 0u);
    Opened scaleless(withTrack({ .timeScale = 0, .duration = 1000 }));
    EXPECT_EQ(MP4GetTrackBitRate(scaleless.file, 1), 0u);
}

TEST(BitRate, OfSamplesOfOneSize)
{
    Opened opened(withTrack(
        { .timeScale = 8000, .duration = 16000, .sizeBox = fullBox("stsz", 0, 0, { number(32, 4), number(100, 4) }) }));
    EXPECT_EQ(MP4GetTrackBitRate(opened.file, 1), 12800u);
}

TEST(BitRate, OfCompactTables)
{
    auto rate = [](int fieldSize, std::uint32_t count, const Bytes& rows) {
        Opened opened(withTrack({ .timeScale = 1,
            .duration = 1,
            .sizeBox = fullBox("stz2", 0, 0,
                { number(0, 3), number(static_cast<std::uint64_t>(fieldSize), 1), number(count, 4), rows }) }));
        return MP4GetTrackBitRate(opened.file, 1);
    };
    EXPECT_EQ(rate(4, 3, { 0x12, 0x3F }), 8u * (1 + 2 + 3)); // an odd count leaves half a byte unused
    EXPECT_EQ(rate(8, 3, { 1, 2, 255 }), 8u * 258);
    EXPECT_EQ(rate(16, 2, { 1, 0, 0, 5 }), 8u * 261);
    EXPECT_EQ(rate(5, 2, { 1, 0, 0, 5 }), 0u); // no such width
}

TEST(BitRate, ACountBeyondTheTableCountsWhatIsThere)
{
    Opened table(withTrack({ .timeScale = 1,
        .duration = 1,
        .sizeBox = fullBox("stsz", 0, 0, { number(0, 4), number(UINT32_MAX, 4), number(10, 4), number(20, 4) }) }));
    EXPECT_EQ(MP4GetTrackBitRate(table.file, 1), 240u);
    Opened uniform(withTrack({ .timeScale = 1000,
        .duration = 1,
        .sizeBox = fullBox("stsz", 0, 0, { number(UINT32_MAX, 4), number(UINT32_MAX, 4) }) }));
    EXPECT_EQ(MP4GetTrackBitRate(uniform.file, 1), UINT32_MAX); // saturated
}

TEST(BitRate, OfALargeTableReadInPieces)
{
    std::vector<std::uint32_t> sizes(10'000, 3);
    Opened opened(withTrack({ .timeScale = 1, .duration = 1, .sampleSizes = sizes }));
    EXPECT_EQ(MP4GetTrackBitRate(opened.file, 1), 240'000u);
}

TEST(BitRate, QuickTimeCountsUncompressedSoundInFramesOfOneByte)
{
    // 16-bit stereo: the maker's sound description has two channels of 16 bits.
    Bytes units = fullBox("stsz", 0, 0, { number(1, 4), number(44100, 4) });
    Opened pcm(withTrack({ .code = "sowt", .sizeBox = units }));
    EXPECT_EQ(MP4GetTrackBitRate(pcm.file, 1), 44100u * 4 * 8);
    Opened bytes(withTrack({ .code = "mp4a", .sizeBox = units }));
    EXPECT_EQ(MP4GetTrackBitRate(bytes.file, 1), 44100u * 8);
}

TEST(BitRate, QuickTimeSoundDescriptionOneCountsPackets)
{
    Bytes entry = box("ima4",
        { number(0, 6), number(1, 2), number(1, 2), number(0, 6), number(2, 2), number(16, 2), number(0, 4),
            number(44100u << 16, 4), number(64, 4), number(34, 4), number(68, 4), number(2, 4) });
    Opened opened(withTrack({ .timeScale = 44100,
        .duration = 44100,
        .sizeBox = fullBox("stsz", 0, 0, { number(1, 4), number(44096, 4) }),
        .descriptionBox = fullBox("stsd", 0, 0, { number(1, 4), entry }) }));
    EXPECT_EQ(MP4GetTrackBitRate(opened.file, 1), 44096u / 64 * 68 * 8);
}

TEST(BitRate, RoundsAndSaturates)
{
    EXPECT_EQ(averageBitRate(0, 44100, 1), 0u);
    EXPECT_EQ(averageBitRate(UINT64_MAX, UINT32_MAX, 1), UINT32_MAX);
    EXPECT_EQ(averageBitRate(1, 1, UINT64_MAX), 1u);
    EXPECT_EQ(averageBitRate(1, 1, 0), 0u);
}

TEST(TrackHandler, OnlyTheMediasOwnCounts)
{
    // QuickTime has a second handler, of the data, in minf.
    Mp4Spec spec;
    spec.tracks = { { .id = 4, .handler = "soun" } };
    Opened opened(spec);
    EXPECT_EQ(opened.file.facts().tracks[0].handler, fourCC("soun"));
}

} // namespace
} // namespace mv
