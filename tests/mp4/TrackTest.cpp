// The first sound track: which one it is, how long, and how many bits a second.
#include "mp4/SampleTable.h"
#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>
#include <set>

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

/// An esds box.
Bytes decoderBox(std::uint8_t objectType, std::uint32_t averageRate)
{
    Bytes decoder = joined({ number(4, 1), number(13, 1), Bytes { objectType, 0x15, 0, 0x18, 0 }, number(999'999, 4),
        number(averageRate, 4) });
    return fullBox("esds", 0, 0, { number(3, 1), number(3 + decoder.size(), 1), number(0, 3), decoder });
}

/// A list of one sample description.
Bytes describedBy(std::string_view code, const Bytes& fields, const Bytes& extension)
{
    return fullBox("stsd", 0, 0, { number(1, 4), box(code, { number(0, 6), number(1, 2), fields, extension }) });
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
    auto sound = [](std::uint32_t id, std::uint8_t objectType) {
        return TrackSpec { .id = id, .descriptionBox = describedBy("mp4a", Bytes(20), decoderBox(objectType, 0)) };
    };
    Mp4Spec spec;
    spec.tracks = { sound(1, 0x6B), sound(2, 0x40) };
    Opened opened(spec);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0x40), 2u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0x6B), 1u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "soun", 0xA5), MP4_INVALID_TRACK_ID);
}

TEST(FindTrack, TracksOfOneIdAreToldApart)
{
    // The last has the number that would be the first to stand for another's.
    Mp4Spec spec;
    spec.tracks = { { .id = 1, .handler = "vide", .code = "avc1", .timeScale = 90000, .duration = 90000 },
        { .id = 1, .timeScale = 8000, .duration = 1000, .sampleSizes = { 10 } },
        { .id = 0, .timeScale = 16000, .duration = 2000, .sampleSizes = { 20 } },
        { .id = 0x1'0001, .timeScale = 32000, .duration = 3000, .sampleSizes = { 30 } },
        { .id = UINT32_MAX, .timeScale = 48000, .duration = 4000, .sampleSizes = { 40 } } };
    Opened opened(spec);
    EXPECT_EQ(MP4FindTrackId(opened.file, 0, "vide", 0), 1u);
    std::set<MP4TrackId> ids { 1 };
    for (std::uint16_t i = 0; i < 4; ++i) {
        MP4TrackId id = MP4FindTrackId(opened.file, i, "soun", 0);
        EXPECT_NE(id, MP4_INVALID_TRACK_ID);
        EXPECT_TRUE(ids.insert(id).second) << id;
        EXPECT_EQ(MP4GetTrackDuration(opened.file, id), (i + 1u) * 1000);
        EXPECT_EQ(MP4GetTrackTimeScale(opened.file, id), spec.tracks.at(i + 1u).timeScale);
        EXPECT_EQ(MP4GetTrackBitRate(opened.file, id),
            averageBitRate((i + 1u) * 10, spec.tracks.at(i + 1u).timeScale, (i + 1u) * 1000));
    }
    EXPECT_EQ(MP4FindTrackId(opened.file, 2, "soun", 0), 0x1'0001u);
    EXPECT_EQ(MP4FindTrackId(opened.file, 3, "soun", 0), UINT32_MAX);
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

TEST(BitRate, IsTheStatedAverageOfTheDecoderConfiguration)
{
    // 600 bytes in a second; the largest rate that is stated beside the average does not count.
    auto rate = [](const Bytes& description) {
        Opened opened(withTrack({ .descriptionBox = description }));
        return MP4GetTrackBitRate(opened.file, 1);
    };
    EXPECT_EQ(rate(describedBy("mp4a", Bytes(20), decoderBox(0x40, 127'999))), 127'999u);
    EXPECT_EQ(rate(describedBy("mp4a", Bytes(20), decoderBox(0x40, UINT32_MAX))), UINT32_MAX);
    EXPECT_EQ(rate(describedBy("mp4a", Bytes(20), decoderBox(0x40, 0))), 4800u);
    // QuickTime's place for it.
    Bytes wave = box("wave", { box("frma", bytes("mp4a")), decoderBox(0x40, 64'000) });
    EXPECT_EQ(rate(describedBy("mp4a", joined({ number(1, 2), Bytes(34) }), wave)), 64'000u);
    // One that ends too early states nothing.
    Bytes cut = decoderBox(0x40, 127'999);
    cut.resize(cut.size() - 1);
    --cut[3];
    EXPECT_EQ(rate(describedBy("mp4a", Bytes(20), cut)), 4800u);
    // Of pictures too.
    Opened pictures(
        withTrack({ .handler = "vide", .descriptionBox = describedBy("mp4v", Bytes(70), decoderBox(0x20, 500'000)) }));
    EXPECT_EQ(MP4GetTrackBitRate(pictures.file, 1), 500'000u);
}

TEST(BitRate, IsElseAllSampleBytesOverTheMilliseconds)
{
    Opened exact(withTrack({ .timeScale = 1000, .duration = 1000, .sampleSizes = { 100, 200, 300 } }));
    EXPECT_EQ(MP4GetTrackBitRate(exact.file, 1), 4800u);
    Opened cut(withTrack({ .timeScale = 1000, .duration = 1001, .sampleSizes = { 100, 200, 300 } }));
    EXPECT_EQ(MP4GetTrackBitRate(cut.file, 1), 4795u); // 4795.2
    Opened parts(withTrack({ .timeScale = 44100, .duration = 133'632, .sampleSizes = { 36'362 } })); // 3030.2 ms
    EXPECT_EQ(MP4GetTrackBitRate(parts.file, 1), 36'362u * 8000 / 3030); // 96 kbit/s, which finer parts would make 95
    Opened brief(withTrack({ .timeScale = 44100, .duration = 44, .sampleSizes = { 100, 200, 300 } }));
    EXPECT_EQ(MP4GetTrackBitRate(brief.file, 1), 0u); // below a millisecond
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

TEST(BitRate, CutsFractionsAndSaturates)
{
    EXPECT_EQ(averageBitRate(0, 44100, 100), 0u);
    EXPECT_EQ(averageBitRate(UINT64_MAX, UINT32_MAX, 1), 0u); // below a millisecond
    EXPECT_EQ(averageBitRate(UINT64_MAX, 1, UINT64_MAX), 8u);
    EXPECT_EQ(averageBitRate(UINT64_MAX, UINT32_MAX, UINT64_MAX), UINT32_MAX);
    EXPECT_EQ(averageBitRate(1, 1, UINT64_MAX), 0u);
    EXPECT_EQ(averageBitRate(1, 0, 1), 0u);
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
