#include "Base/Core/NSException.h"
#include "tests/client/FakeServices.h"
#include "tests/support/PrivateBus.h"

#include <future>
#include <gmock/gmock.h>
#include <mivo/mivo.h>
#include <unistd.h>

namespace mivo {
namespace {

using mv::test::Served;
using InfoServed = Served<mv::MediaInfoAdaptor, mv::test::FakeInfoBuilder>;

class LibraryClient : public testing::Test {
protected:
    mv::test::PrivateBus m_privateBus;
    Client m_client { ClientOptions().startService(false) };
};

/// What the call throws; fails the test when it is nothing.
template <class Call> Error errorOf(const Call& call)
{
    try {
        call();
    } catch (const Error& error) {
        return error;
    }
    ADD_FAILURE() << "nothing thrown";
    return { Error::Kind::Failed, "" };
}

TEST_F(LibraryClient, DescribesAFile)
{
    InfoServed service(mv::MP3ParserService);
    service->answer = [&](const mv::Path& path) {
        EXPECT_EQ(path.text(), "/music/song.mp3");
        return mv::Record {
            { mv::MediaDBMusicColumnTitle, "Song" },
            { mv::MediaDBMusicColumnTrackNo, 7 },
            { mv::MediaDBCommonColumnIsManaged, false },
            { mv::MediaDBMusicColumnDateAdded, mv::Date { 1234567 } },
            { mv::MediaDBMusicColumnAlbumArt, mv::Bytes { 1, 2, 3 } },
            { mv::MediaDBMusicColumnPlayLength, 27.5 },
            { mv::MediaDBCommonColumnFileSize, std::int64_t { 1 } << 40 },
            { mv::MediaDBMusicColumnGenre, mv::NullObject() },
        };
    };
    Record expected {
        { keys::Title, "Song" },
        { keys::TrackNo, 7 },
        { keys::IsManaged, false },
        { keys::DateAdded, Date { 1234567 } },
        { keys::AlbumArt, Bytes { 1, 2, 3 } },
        { keys::PlayLength, 27.5 },
        { keys::FileSize, 1LL << 40 },
        { keys::Genre, Value() },
    };
    EXPECT_EQ(m_client.describe("/music/song.mp3"), expected);
}

TEST_F(LibraryClient, AsksTheServiceThatIsWanted)
{
    std::vector<std::pair<Describer, std::string_view>> rows {
        { Describer::MP3, mv::MP3ParserService },
        { Describer::MP4, mv::MP4ParserService },
        { Describer::BasicAudio, mv::BasicAudioParserService },
        { Describer::AudioVideo, mv::AVParserService },
        { Describer::ByName, mv::AVParserService },
    };
    for (const auto& [describer, name] : rows) {
        InfoServed service(name);
        service->answer = [](const mv::Path&) { return std::nullopt; };
        EXPECT_EQ(m_client.describe("/x.mov", describer), std::nullopt) << name;
    }
    Served<mv::ImageInfoAdaptor, mv::test::FakeImageBuilder> images(mv::ImageParserService);
    EXPECT_EQ(m_client.describe("/x.mov", Describer::Image), (Record { { keys::Width, 640 } }));
    EXPECT_EQ(m_client.describe("/x.png"), (Record { { keys::Width, 640 } }));
}

TEST_F(LibraryClient, ARelativePathIsOneOfThisProcess)
{
    InfoServed service(mv::AVParserService);
    std::string asked;
    service->answer = [&](const mv::Path& path) {
        asked = path.text();
        return std::nullopt;
    };
    m_client.describe("clip.mov");
    char folder[4096];
    EXPECT_EQ(asked, std::string(getcwd(folder, sizeof folder)) + "/clip.mov");
    for (const std::string& path : { std::string(), std::string("/a\0b", 4), std::string("/\xff.mov") })
        EXPECT_EQ(errorOf([&] { m_client.describe(path); }).kind(), Error::Kind::InvalidArgument);
}

TEST_F(LibraryClient, AnExceptionOfTheServiceIsAnErrorWithItsName)
{
    InfoServed service(mv::AVParserService);
    service->answer = [](const mv::Path&) -> std::optional<mv::Record> {
        throw mv::NSException(mv::NSInvalidArgumentException, "no date");
    };
    Error error = errorOf([&] { m_client.describe("/x.mov"); });
    EXPECT_EQ(error.kind(), Error::Kind::Failed);
    EXPECT_EQ(error.name(), "Mivo.Exception.NSInvalidArgumentException");
    EXPECT_STREQ(error.what(), "no date");
}

TEST_F(LibraryClient, AnAnswerAboveTheLimitIsAnError)
{
    InfoServed service(mv::AVParserService);
    service->answer = [](const mv::Path&) {
        return mv::Record { { mv::MediaDBVideoColumnImage, mv::Bytes(33u << 20) } };
    };
    EXPECT_EQ(errorOf([&] { m_client.describe("/x.mov"); }).kind(), Error::Kind::TooLarge);
}

TEST_F(LibraryClient, ABusThatDiesIsAnError)
{
    m_privateBus.kill();
    EXPECT_EQ(errorOf([&] { m_client.describe("/x.mov"); }).kind(), Error::Kind::Lost);
    EXPECT_EQ(errorOf([] { Client client; }).kind(), Error::Kind::NoBus);
}

TEST_F(LibraryClient, ThumbnailHasItsSourcesSize)
{
    Served<mv::ImageInfoAdaptor, mv::test::FakeImageBuilder> service(mv::ImageParserService);
    service->thumbnail = [](const mv::Path& path, mv::FloatSize maximum) -> std::optional<mv::Record> {
        if (path.text() == "/nil.png")
            return std::nullopt;
        EXPECT_EQ(maximum.width, 320.5f);
        EXPECT_EQ(maximum.height, 240.0f);
        return mv::Record { { mv::kThumbnailData, mv::Bytes { 9, 8 } }, { mv::kThumbnailWidth, 640.0 },
            { mv::kThumbnailHeight, 480.0 } };
    };
    EXPECT_EQ(m_client.thumbnail("/a.png", 320.5, 240),
        (Record { { keys::thumbnail::Data, Bytes { 9, 8 } }, { keys::thumbnail::Width, 640.0 },
            { keys::thumbnail::Height, 480.0 } }));
    EXPECT_EQ(m_client.thumbnail("/nil.png", 1, 1), std::nullopt);
}

TEST_F(LibraryClient, CameraFactsAreThoseThatThePictureHas)
{
    Served<mv::ExifExtractorAdaptor, mv::test::FakeExif> service(mv::ExifExtractorService);
    EXPECT_EQ(m_client.exif("/none.jpg"), std::nullopt);
    service->info = std::make_shared<mv::MVExifInfo>();
    service->info->F_value = "f/2.8";
    service->info->versionNumber = 230;
    service->info->date = mv::Date { 77 };
    EXPECT_EQ(m_client.exif("/a.jpg"),
        (Record {
            { keys::exif::FNumber, "f/2.8" }, { keys::exif::VersionNumber, 230 }, { keys::exif::Date, Date { 77 } } }));
}

TEST_F(LibraryClient, PodcastIdentifiersAreRead)
{
    Served<mv::MediaTagAdaptor, mv::test::FakeTag> service(mv::MediaTagUpdaterService);
    EXPECT_EQ(m_client.podcast("/a.mp3"), std::nullopt);
    service->podcast = mv::Record { { mv::kMediaTagPodcastEpisodeId, "e1" } };
    EXPECT_EQ(m_client.podcast("/a.mp3"), (Record { { keys::podcast::EpisodeId, "e1" } }));
}

TEST_F(LibraryClient, AnUpdateKeepsTheFieldsThatItDoesNotName)
{
    InfoServed describing(mv::MP3ParserService);
    describing->answer = [](const mv::Path&) {
        return mv::Record { { mv::MediaDBMusicColumnTitle, "Old" }, { mv::MediaDBMusicColumnArtist, "Kept" },
            { mv::MediaDBMusicColumnAlbum, "Gone" } };
    };
    Served<mv::MediaTagAdaptor, mv::test::FakeTag> service(mv::MediaTagUpdaterService);
    mv::Record seen;
    bool written = true;
    service->update = [&](const mv::Path&, const mv::Record& record) {
        seen = record;
        return written;
    };
    Record changes { { keys::Title, "New" }, { keys::Album, Value() } };
    m_client.updateTags("/a.mp3", changes);
    EXPECT_EQ(seen,
        (mv::Record { { mv::MediaDBCommonColumnMediaType, 0x01000001 }, { mv::MediaDBMusicColumnTitle, "New" },
            { mv::MediaDBMusicColumnArtist, "Kept" }, { mv::MediaDBMusicColumnAlbum, mv::NullObject() } }));
    written = false;
    EXPECT_EQ(errorOf([&] { m_client.updateTags("/a.mp3", changes); }).kind(), Error::Kind::Failed);
    describing->answer = [](const mv::Path&) { return std::nullopt; };
    EXPECT_EQ(errorOf([&] { m_client.updateTags("/a.mp3", changes); }).kind(), Error::Kind::Failed);
}

TEST_F(LibraryClient, AnUpdateOfACoverlessListLeavesTheCover)
{
    InfoServed describing(mv::MP4ParserService);
    describing->answer = [](const mv::Path&) { return mv::Record {}; };
    Served<mv::MediaTagAdaptor, mv::test::FakeTag> service(mv::MediaTagUpdaterService);
    mv::Record seen;
    service->update = [&](const mv::Path&, const mv::Record& record) {
        seen = record;
        return true;
    };
    m_client.updateTags("/a.m4a", { { keys::DiscNo, Value() }, { keys::Genre, Value() } });
    EXPECT_EQ(seen,
        (mv::Record { { mv::MediaDBCommonColumnMediaType, 0x01000020 }, { mv::MediaDBMusicColumnAlbumArt, "" },
            { mv::MediaDBMusicColumnDiscNo, 0 }, { mv::MediaDBMusicColumnGenre, "" } }));
}

TEST_F(LibraryClient, AFieldThatTheFormatHasNotIsAnError)
{
    InfoServed describing(mv::MP3ParserService);
    describing->answer = [](const mv::Path&) { return mv::Record {}; };
    Error error = errorOf([&] { m_client.updateTags("/a.mp3", { { keys::DiscNo, 1 } }); });
    EXPECT_EQ(error.kind(), Error::Kind::InvalidArgument);
    EXPECT_STREQ(error.what(), "the service writes no DiscNo into MP3 files");
    EXPECT_EQ(errorOf([&] { m_client.updateTags("/a.wav", {}); }).kind(), Error::Kind::InvalidArgument);
}

TEST_F(LibraryClient, ASecondCallAtTheSameTimeIsRefused)
{
    InfoServed service(mv::AVParserService);
    std::promise<void> entered;
    std::promise<void> left;
    service->answer = [&](const mv::Path&) {
        entered.set_value();
        left.get_future().wait();
        return std::nullopt;
    };
    auto first = std::async(std::launch::async, [&] { return m_client.describe("/x.mov"); });
    entered.get_future().wait();
    EXPECT_EQ(errorOf([&] { m_client.describe("/y.mov"); }).kind(), Error::Kind::Busy);
    left.set_value();
    EXPECT_EQ(first.get(), std::nullopt);
}

TEST_F(LibraryClient, MovesAndIsOfTheHeadersVersion)
{
    InfoServed service(mv::AVParserService);
    service->answer = [](const mv::Path&) { return std::nullopt; };
    Client other = std::move(m_client);
    EXPECT_EQ(other.describe("/x.mov"), std::nullopt);
    EXPECT_STREQ(version(), MIVO_VERSION);
}

} // namespace
} // namespace mivo
