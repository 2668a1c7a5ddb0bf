#include "Base/Core/NSException.h"
#include "Base/Media/MediaDB.h"
#include "client/ExifClient.h"
#include "client/ExporterClient.h"
#include "client/ImageClient.h"
#include "client/MediaInfoClient.h"
#include "client/Mp3EncoderClient.h"
#include "client/TagClient.h"
#include "tests/client/FakeServices.h"
#include "tests/support/PrivateBus.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using namespace test;

class ClientTest : public testing::Test {
protected:
    PrivateBus m_privateBus;
    std::unique_ptr<ServiceBus> m_bus = std::move(ServiceBus::open()).value();
};

using InfoServed = Served<MediaInfoAdaptor, FakeInfoBuilder>;

TEST_F(ClientTest, BringsTheRecordOver)
{
    InfoServed service(MP3ParserService);
    Record record {
        { MediaDBMusicColumnTitle, "Song" },
        { MediaDBMusicColumnTrackNo, 7 },
        { MediaDBCommonColumnIsManaged, false },
        { MediaDBMusicColumnDateAdded, Date { 1234567 } },
        { MediaDBMusicColumnAlbumArt, Bytes { 1, 2, 3 } },
        { MediaDBMusicColumnPlayLength, 27.0 },
        { MediaDBCommonColumnFileSize, std::int64_t { 1 } << 40 },
        { MediaDBMusicColumnGenre, NullObject() },
    };
    service->answer = [&](const Path& path) {
        EXPECT_EQ(path.text(), "/music/song.mp3");
        return record;
    };
    auto answer = describeFile(*m_bus, Path("/music/song.mp3"));
    ASSERT_TRUE(answer.ok());
    ASSERT_TRUE(answer->has_value());
    EXPECT_EQ(**answer, record);
}

TEST_F(ClientTest, NilIsNoError)
{
    InfoServed service(AVParserService);
    service->answer = [](const Path&) { return std::nullopt; };
    auto answer = describeFile(*m_bus, Path("/x.mov"));
    ASSERT_TRUE(answer.ok());
    EXPECT_FALSE(answer->has_value());
}

TEST_F(ClientTest, AnExceptionIsAnErrorWithItsName)
{
    InfoServed service(AVParserService);
    service->answer
        = [](const Path&) -> std::optional<Record> { throw NSException(NSInvalidArgumentException, "no date"); };
    auto answer = describeFile(*m_bus, Path("/x.mov"));
    ASSERT_FALSE(answer.ok());
    EXPECT_EQ(answer.error().name, "Mivo.Exception.NSInvalidArgumentException");
    EXPECT_EQ(answer.error().text, "no date");
}

TEST_F(ClientTest, AProxyRaisesWhatTheServiceRaises)
{
    InfoServed service(AVParserService);
    service->answer
        = [](const Path&) -> std::optional<Record> { throw NSException(NSInvalidArgumentException, "no date"); };
    MediaInfoClient client(*m_bus, AVParserService);
    MVMediaInfoBuilderOf<Path>& builder = client;
    try {
        builder.build(Path("/x.mov"));
        FAIL() << "nothing raised";
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
        EXPECT_EQ(exception.reason(), "no date");
    }
}

TEST_F(ClientTest, AServiceThatNobodyPublishesIsNotFound)
{
    auto answer = describeFile(*m_bus, Path("/x.mov"));
    ASSERT_FALSE(answer.ok());
    EXPECT_EQ(answer.error().kind, Error::Kind::NotFound);
    EXPECT_EQ(answer.error().name, "org.freedesktop.DBus.Error.ServiceUnknown");
}

TEST_F(ClientTest, AnAnswerAboveTheLimitIsAnError)
{
    InfoServed service(AVParserService);
    service->answer = [](const Path&) { return Record { { MediaDBVideoColumnImage, Bytes(33u << 20) } }; };
    auto answer = describeFile(*m_bus, Path("/x.mov"));
    ASSERT_FALSE(answer.ok());
    EXPECT_EQ(answer.error().kind, Error::Kind::Limit);
    EXPECT_EQ(answer.error().name, "org.freedesktop.DBus.Error.LimitsExceeded");
}

TEST_F(ClientTest, ABusThatDiesIsAnError)
{
    m_privateBus.kill();
    auto answer = describeFile(*m_bus, Path("/x.mov"));
    ASSERT_FALSE(answer.ok());
    EXPECT_EQ(answer.error().kind, Error::Kind::Io);
    EXPECT_FALSE(m_bus->processIdOf(AVParserService).ok());
    EXPECT_FALSE(ServiceBus::open().ok());
}

TEST_F(ClientTest, ThumbnailHasItsSourcesSize)
{
    Served<ImageInfoAdaptor, FakeImageBuilder> service(ImageParserService);
    service->thumbnail = [](const Path& path, FloatSize maximum) -> std::optional<Record> {
        if (path.text() == "/nil.png")
            return std::nullopt;
        EXPECT_EQ(maximum.width, 320.5f);
        EXPECT_EQ(maximum.height, 240.0f);
        return Record { { kThumbnailData, Bytes { 9, 8 } }, { kThumbnailWidth, 640.0 }, { kThumbnailHeight, 480.0 } };
    };
    ImageClient client(*m_bus);
    EXPECT_EQ(client.makeThumbnailWithMaxSize(Path("/a.png"), { 320.5f, 240 }),
        (Record { { kThumbnailData, Bytes { 9, 8 } }, { kThumbnailWidth, 640.0 }, { kThumbnailHeight, 480.0 } }));
    EXPECT_EQ(client.makeThumbnailWithMaxSize(Path("/nil.png"), { 1, 1 }), std::nullopt);
    EXPECT_EQ(client.build(Path("/a.png")), (Record { { MediaDBPhotoColumnWidth, 640 } }));
}

TEST_F(ClientTest, TagsAreSentAndPodcastsRead)
{
    Served<MediaTagAdaptor, FakeTag> service(MediaTagUpdaterService);
    Record sent { { MediaDBCommonColumnMediaType, 0x01000001 }, { MediaDBMusicColumnTitle, "T" },
        { MediaDBMusicColumnAlbum, NullObject() } };
    Record seen;
    service->update = [&](const Path& path, const Record& record) {
        seen = record;
        return path.text() == "/a.mp3";
    };
    service->podcast = Record { { kMediaTagPodcastEpisodeId, "e1" } };
    TagClient client(*m_bus);
    EXPECT_TRUE(client.updateTagWithDictionary(Path("/a.mp3"), sent));
    EXPECT_EQ(seen, sent);
    EXPECT_FALSE(client.updateTagWithDictionary(Path("/b.mp3"), sent));
    EXPECT_EQ(client.podcastInfo(Path("/a.mp3")), service->podcast);
    service->podcast = std::nullopt;
    EXPECT_EQ(client.podcastInfo(Path("/a.mp3")), std::nullopt);
}

TEST_F(ClientTest, ExifComesOverWholeAndIsReleased)
{
    Served<ExifExtractorAdaptor, FakeExif> service(ExifExtractorService);
    service->info = std::make_shared<MVExifInfo>();
    std::weak_ptr<MVExifInfo> alive = service->info;
    int number = 0;
    for (const ExifTextProperty& property : ExifTextProperties)
        (*service->info).*property.field = "text " + std::to_string(number++);
    EXPECT_EQ(number, 18);
    service->info->versionNumber = 230;
    service->info->date = Date { 77 };

    auto info = ExifClient(*m_bus).extractExif(Path("/a.jpg"));
    ASSERT_TRUE(info);
    for (const ExifTextProperty& property : ExifTextProperties)
        EXPECT_EQ((*info).*property.field, (*service->info).*property.field) << property.name;
    EXPECT_EQ(info->versionNumber, 230);
    EXPECT_EQ(info->date, Date { 77 });

    // The object goes after its release was answered, before the next call is.
    service->info = nullptr;
    EXPECT_EQ(ExifClient(*m_bus).extractExif(Path("/b.jpg")), nullptr);
    EXPECT_TRUE(alive.expired());
}

struct RecordingExportDelegate final : MVMP4ExporterDelegate {
    std::vector<std::int32_t> percents;
    std::int32_t stopAt = 1000;
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        return percent < stopAt;
    }
};

TEST_F(ClientTest, ExportReportsProgressAndItsCode)
{
    Served<MP4ExporterAdaptor, FakeExporter> service(MP4ExporterService);
    service->percents = { 1, 50, 100 };
    service->code = -2048;
    RecordingExportDelegate delegate;
    ExporterClient client(*m_bus);
    EXPECT_EQ(client.exportWithDelegateFromPathToMp4Path(&delegate, Path("/a.mov"), Path("/b.mp4")), -2048);
    EXPECT_THAT(delegate.percents, testing::ElementsAre(1, 50, 100));
    EXPECT_TRUE(client.isAlacAudio(Path("/a.m4a")));
    EXPECT_FALSE(client.isAlacAudio(Path("/a.mp3")));
}

TEST_F(ClientTest, AConversionIsCancelledByItsDelegate)
{
    Served<MP4ExporterAdaptor, FakeExporter> service(MP4ExporterService);
    service->percents = { 10, 20, 30 };
    RecordingExportDelegate delegate;
    delegate.stopAt = 20;
    ExporterClient client(*m_bus);
    EXPECT_EQ(client.convertToAacWithDelegateFromPathToMp4PathBitrate(&delegate, Path("/a.wav"), Path("/b.m4a"), 96000),
        MVMP4ExporterCancelled);
    EXPECT_THAT(delegate.percents, testing::ElementsAre(10, 20));
    EXPECT_EQ(service->seenBitrate, 96000);
    EXPECT_TRUE(service->sawDelegate);
    EXPECT_EQ(
        client.convertToAacWithDelegateFromPathToMp4PathBitrate(nullptr, Path("/a.wav"), Path("/b.m4a"), 96000), 0);
    EXPECT_FALSE(service->sawDelegate);
}

struct RecordingEncodeListener final : EncodeListener {
    bool hasStarted = false;
    bool stop = false;
    std::vector<double> percents;
    std::optional<Result<EncodeOutcome>> outcome;

    void started() override { hasStarted = true; }
    bool shouldStop() override { return stop; }
    void progress(double percent) override { percents.push_back(percent); }
    void ended(const Result<EncodeOutcome>& result) override
    {
        EXPECT_FALSE(outcome.has_value()) << "two ends";
        outcome.emplace(result);
    }
};

TEST_F(ClientTest, EncodesSeveralFilesSideBySide)
{
    Served<AudioEncoderAdaptor, FakeEncoder> service(Mp3EncoderService);
    Mp3EncoderClient client(*m_bus);
    client.setAttributes({ { MVAudioEncoderVBRAttribute, true } });
    EXPECT_EQ(client.attributes(),
        (Record { { MVAudioEncoderBitrateAttribute, 192000 }, { MVAudioEncoderVBRAttribute, true } }));

    RecordingEncodeListener good;
    RecordingEncodeListener failing;
    RecordingEncodeListener cancelled;
    cancelled.stop = true;
    client.encode(
        {
            { Path("a.wav"), Path("a.mp3"), &good },
            { Path("fail-4"), Path("b.mp3"), &failing },
            { Path("c.wav"), Path("c.mp3"), &cancelled },
        },
        2);
    ASSERT_TRUE(good.outcome && failing.outcome && cancelled.outcome);
    EXPECT_EQ((*good.outcome)->end, EncodeOutcome::End::Done);
    EXPECT_TRUE(good.hasStarted);
    EXPECT_THAT(good.percents, testing::ElementsAre(25, 50, 75, 100));
    EXPECT_EQ((*failing.outcome)->end, EncodeOutcome::End::Failed);
    EXPECT_EQ((*failing.outcome)->code, 4);
    EXPECT_FALSE(failing.hasStarted);
    EXPECT_EQ((*cancelled.outcome)->end, EncodeOutcome::End::Cancelled);
    EXPECT_TRUE(cancelled.percents.empty());
}

struct NotingEncoderDelegate final : ClientAudioEncoderDelegate {
    const ClientAudioEncoder* encoder = nullptr;
    std::vector<std::string> messages;

    void encoderDidStart(ClientAudioEncoder& one) override
    {
        encoder = &one;
        messages.emplace_back("start");
    }
    bool shouldEncodeStop() override { return false; }
    void encoderProgress(ClientAudioEncoder&, float percent) override
    {
        messages.push_back(std::to_string(static_cast<int>(percent)));
    }
    void encoderDidFailWithError(ClientAudioEncoder&, const NSError& error) override
    {
        messages.push_back(error.domain + " " + std::to_string(error.code));
    }
    void encoderDidEnd(ClientAudioEncoder&) override { messages.emplace_back("end"); }
};

TEST_F(ClientTest, ADelegateHearsOfAJobWithinACall)
{
    Served<AudioEncoderAdaptor, FakeEncoder> service(Mp3EncoderService);
    Mp3EncoderClient client(*m_bus);
    auto delegate = std::make_shared<NotingEncoderDelegate>();
    client.setDelegate(delegate);
    EXPECT_TRUE(client.encodeFileOutputFile(Path("a.wav"), Path("a.mp3")));
    EXPECT_THAT(delegate->messages, testing::ElementsAre("start", "25", "50", "75", "100", "end"));
    EXPECT_EQ(delegate->encoder, &client);
    delegate->messages.clear();
    EXPECT_FALSE(client.encodeFileOutputFile(Path("fail-4"), Path("a.mp3")));
    EXPECT_THAT(delegate->messages, testing::ElementsAre("MVAudioEncoderErrorDomain 4"));
    delegate->messages.clear();
    client.setDelegate(nullptr);
    EXPECT_TRUE(client.encodeFileOutputFile(Path("a.wav"), Path("a.mp3")));
    EXPECT_TRUE(delegate->messages.empty());
}

TEST_F(ClientTest, TwoProxiesOfOneConnectionHaveTheirOwnDelegates)
{
    Served<AudioEncoderAdaptor, FakeEncoder> service(Mp3EncoderService);
    Mp3EncoderClient first(*m_bus);
    Mp3EncoderClient second(*m_bus);
    auto unheard = std::make_shared<NotingEncoderDelegate>();
    auto heard = std::make_shared<NotingEncoderDelegate>();
    first.setDelegate(unheard);
    second.setDelegate(heard);
    EXPECT_TRUE(first.encodeFileOutputFile(Path("a.wav"), Path("a.mp3")));
    EXPECT_TRUE(unheard->messages.empty());
    EXPECT_EQ(heard->encoder, &second) << "the service has one delegate, the last that was set";
}

TEST_F(ClientTest, NoEncoderIsAnErrorForEveryJob)
{
    RecordingEncodeListener first;
    RecordingEncodeListener second;
    Mp3EncoderClient(*m_bus).encode(
        { { Path("a.wav"), Path("a.mp3"), &first }, { Path("b.wav"), Path("b.mp3"), &second } }, 2);
    ASSERT_TRUE(first.outcome && second.outcome);
    EXPECT_EQ(first.outcome->error().kind, Error::Kind::NotFound);
    EXPECT_EQ(second.outcome->error().kind, Error::Kind::NotFound);
}

/// An encoder whose job never says anything.
struct SilentEncoder final : MVAudioEncoderBase {
    std::function<void()> asked;
    void setAttributes(const Record&) override { }
    Record attributes() const override { return {}; }
    void setDelegate(std::shared_ptr<MVAudioEncoderDelegate>) override { }
    bool encodeFileOutputFile(const OpenedFile&, const SharedPlace&) override { return false; }
    void encodeOnThreadFileOutputFile(const OpenedFile&, const SharedPlace&) override { asked(); }
};

TEST_F(ClientTest, AnEncoderThatLeavesTheBusEndsItsJobs)
{
    Served<AudioEncoderAdaptor, SilentEncoder> service(Mp3EncoderService);
    std::jthread leaving;
    service->asked = [&] { leaving = std::jthread([&] { service.end(); }); };
    RecordingEncodeListener listener;
    Mp3EncoderClient(*m_bus).encode({ { Path("a.wav"), Path("a.mp3"), &listener } }, 1);
    ASSERT_TRUE(listener.outcome.has_value());
    EXPECT_FALSE(listener.outcome->ok());
}

} // namespace
} // namespace mv
