#include "mp4/MovieFacts.h"

#include "tests/support/Mp4Maker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

MovieFacts factsOf(const Bytes& file)
{
    StructureReader reader { ByteView(file) };
    auto facts = readMovieFacts(reader);
    EXPECT_TRUE(facts.ok());
    return facts.ok() ? *facts : MovieFacts {};
}

MovieFacts factsOf(const Mp4Spec& spec) { return factsOf(makeMp4(spec).bytes); }

TEST(MovieFacts, OfTheMovieHeader)
{
    MovieFacts facts = factsOf(Mp4Spec {});
    EXPECT_EQ(facts.creationDate, Date::fromSeconds(3'500'000'000 - 2'082'844'800));
    EXPECT_EQ(facts.modificationDate, Date::fromSeconds(3'500'000'001 - 2'082'844'800));
    EXPECT_EQ(facts.timeScale, 600u);
    EXPECT_EQ(facts.duration, 600u);
    EXPECT_EQ(facts.posterTime, 0u);
    EXPECT_FALSE(facts.extendsBox);
    EXPECT_FALSE(facts.title);
}

TEST(MovieFacts, WideMovieHeaderWithPoster)
{
    Bytes header = fullBox("mvhd", 1, 0,
        { number(1ull << 33, 8), number(0, 8), number(1000, 4), number(1ull << 34, 8), number(0x18000, 4),
            number(0, 12), Bytes(36), number(0, 8), number(2500, 4), number(0, 16) });
    MovieFacts facts = factsOf(box("moov", header));
    EXPECT_EQ(facts.creationDate, Date::fromSeconds((1ll << 33) - 2'082'844'800));
    EXPECT_FALSE(facts.modificationDate);
    EXPECT_EQ(facts.duration, 1ull << 34);
    EXPECT_EQ(facts.posterTime, 2500u);
    EXPECT_TRUE(facts.tracks.empty());
}

TEST(MovieFacts, OfATrack)
{
    Mp4Spec spec;
    spec.tracks = { { .id = 3, .handler = "vide", .code = "avc1", .timeScale = 90000, .duration = 180000 } };
    MovieFacts facts = factsOf(spec);
    ASSERT_EQ(facts.tracks.size(), 1u);
    const TrackFacts& track = facts.tracks[0];
    EXPECT_EQ(track.id, 3u);
    EXPECT_EQ(track.flags, 3u);
    EXPECT_TRUE(track.isEnabled());
    EXPECT_EQ(track.handler, fourCC("vide"));
    EXPECT_EQ(track.width, 640.0);
    EXPECT_EQ(track.height, 480.0);
    EXPECT_EQ(track.codedWidth, 640);
    EXPECT_EQ(track.codedHeight, 480);
    EXPECT_EQ(track.descriptionCodes, std::vector { fourCC("avc1") });
    EXPECT_EQ(track.sampleCount, 3u);
    EXPECT_EQ(track.mediaTimeScale, 90000u);
    EXPECT_EQ(track.mediaDuration, 180000u);
    EXPECT_EQ(track.displayWidth(), 640.0);
}

TEST(MovieFacts, SoundDescription)
{
    MovieFacts facts = factsOf(Mp4Spec {});
    EXPECT_EQ(facts.tracks[0].channels, 2);
    EXPECT_EQ(facts.tracks[0].bitsPerSample, 16);
    EXPECT_EQ(facts.tracks[0].codedWidth, 0);
}

TEST(MovieFacts, DisplaySizeFollowsTheMatrix)
{
    TrackFacts track { .width = 1920, .height = 1080 };
    EXPECT_EQ(track.displayWidth(), 1920.0); // a matrix of zeros says nothing
    track.matrix = { 0, 0x10000, 0, -0x10000, 0, 0, 0, 0, 0x40000000 }; // turned by 90 degrees
    EXPECT_EQ(track.displayWidth(), 1080.0);
    EXPECT_EQ(track.displayHeight(), 1920.0);
    track.matrix = { 0x8000, 0, 0, 0, 0x20000, 0, 0, 0, 0x40000000 };
    EXPECT_EQ(track.displayWidth(), 960.0);
    EXPECT_EQ(track.displayHeight(), 2160.0);
    track.matrix = { -0x10000, 0, 0, 0, -0x10000, 0, 0, 0, 0x40000000 }; // upside down
    EXPECT_EQ(track.displayWidth(), 1920.0);
}

TEST(MovieFacts, TitlesInTheirOrder)
{
    auto title = [](const Bytes& items, const Bytes& inUserData, const Bytes& inMovie) {
        Bytes handler = fullBox("hdlr", 0, 0, { number(0, 4), bytes("mdir"), Bytes(13) });
        Mp4Spec spec;
        spec.hasUserData = false;
        Bytes meta = fullBox("meta", 0, 0, { handler, box("ilst", items) });
        spec.extraInMovie = joined({ box("udta", { meta, inUserData }), inMovie });
        return factsOf(spec).title.value_or("(none)");
    };
    Bytes quickTime = box("\251nam", { number(5, 2), number(0, 2), bytes("quick") });
    Bytes mobile = fullBox("titl", 0, 0, { number(0x55C4, 2), bytes("mobile"), Bytes(1) });
    Bytes mobile16 = fullBox("titl", 0, 0, { number(0x55C4, 2), Bytes { 0xFE, 0xFF, 0, 'm', 0, 0 } });
    Bytes keyed = keyedMetadata({ { "com.apple.quicktime.make", "maker" }, { "com.apple.quicktime.title", "keyed" } });
    Bytes tunes = textItem("\251nam", "tunes");
    EXPECT_EQ(title(tunes, quickTime, keyed), "tunes");
    EXPECT_EQ(title({}, quickTime, keyed), "keyed");
    EXPECT_EQ(title({}, joined({ mobile, quickTime }), {}), "quick");
    EXPECT_EQ(title({}, mobile, {}), "mobile");
    EXPECT_EQ(title({}, mobile16, {}), "m");
    EXPECT_EQ(title({}, {}, {}), "(none)");
    EXPECT_EQ(title(textItem("\251nam", ""), {}, {}), "(none)");
}

TEST(MovieFacts, LimitsDescriptionsAndTracks)
{
    Bytes entries;
    for (int i = 0; i < 300; ++i)
        entries = joined({ entries, box("mp4a", Bytes {}) });
    Mp4Spec spec;
    spec.tracks = { { .descriptionBox = fullBox("stsd", 0, 0, { number(UINT32_MAX, 4), entries }) } };
    MovieFacts facts = factsOf(spec);
    EXPECT_EQ(facts.tracks[0].descriptionCodes.size(), TrackFacts::MaxDescriptions);

    Bytes tracks;
    for (std::size_t i = 0; i < MovieFacts::MaxTracks + 5; ++i)
        tracks = joined({ tracks, box("trak", Bytes {}) });
    Bytes header = fullBox("mvhd", 0, 0, { number(0, 8), number(600, 4), number(0, 4), Bytes(80) });
    EXPECT_EQ(factsOf(box("moov", { header, tracks })).tracks.size(), MovieFacts::MaxTracks);
}

TEST(MovieFacts, MovieBoxFirstOrLastBehindAnyMedia)
{
    for (auto size : { Mp4Spec::MediaSize::Short, Mp4Spec::MediaSize::Wide, Mp4Spec::MediaSize::ToTheEnd }) {
        Mp4Spec spec;
        spec.mediaSize = size;
        EXPECT_EQ(factsOf(spec).tracks.size(), 1u);
    }
    Mp4Spec last { .movieFirst = false, .mediaSize = Mp4Spec::MediaSize::Wide };
    EXPECT_EQ(factsOf(last).tracks.size(), 1u);
    // A movie box that lasts until the end.
    Bytes file = makeMp4(Mp4Spec { .movieFirst = false }).bytes;
    std::size_t offset = makeMp4(Mp4Spec { .movieFirst = false }).movieOffset;
    std::fill_n(file.begin() + static_cast<std::ptrdiff_t>(offset), 4, std::uint8_t { 0 });
    EXPECT_EQ(factsOf(file).tracks.size(), 1u);
}

TEST(MovieFacts, BehindAnId3Tag)
{
    Mp4Spec spec;
    spec.inFront = joined({ bytes("ID3"), Bytes { 3, 0, 0, 0, 0, 0, 100 }, Bytes(100) });
    EXPECT_EQ(factsOf(spec).tracks.size(), 1u);
}

TEST(MovieTime, IsSecondsSince1904)
{
    EXPECT_FALSE(dateFromMovieTime(0));
    EXPECT_EQ(dateFromMovieTime(2'082'844'800), Date {});
    EXPECT_EQ(dateFromMovieTime(1), Date::fromSeconds(-2'082'844'799));
    EXPECT_FALSE(dateFromMovieTime(UINT64_MAX));
}

} // namespace
} // namespace mv
