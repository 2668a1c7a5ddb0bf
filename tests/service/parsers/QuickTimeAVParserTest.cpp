#include "service/parsers/QuickTimeAVParser.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "service/image/NSImageExtension.h"
#include "tests/fakes/FakeQTKit.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <filesystem>
#include <gmock/gmock.h>

namespace mv {
namespace {

using test::FakeQTKit;
using test::trackOf;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::UnorderedElementsAreArray;

constexpr OSType Vide = fourCC("vide");
constexpr OSType Soun = fourCC("soun");

std::vector<std::string> keysOf(const Record& record)
{
    std::vector<std::string> keys;
    for (const auto& [key, value] : record)
        keys.push_back(key);
    return keys;
}

const std::vector<std::string> kFileKeys { "FilePath", "FileName", "IsManaged", "FileSize", "MediaType",
    "FileTypeString", "LinkError" };

std::vector<std::string> withFileKeys(std::vector<std::string> keys)
{
    keys.insert(keys.end(), kFileKeys.begin(), kFileKeys.end());
    return keys;
}

const std::vector<std::string> kAudioKeys
    = withFileKeys({ "Title", "PlayLength", "Bitrate", "Samplerate", "PlayCount", "Rating", "AlbumRating", "DateAdded",
        "DateModified", "DRMProperty", "IsLicenseExpired", "HasLyrics", "PlayState", "IsReadOnly" });

const std::vector<std::string> kVideoKeys = withFileKeys({ "DateAdded", "DateCreated", "DRMProperty", "PlayState",
    "Title", "VCodec", "ACodec", "PlayLength", "Image", "Width", "Height", "Bitrate", "PlayCount", "Rating",
    "IsReadOnly", "IsLicenseExpired", "IsChecked", "DateModified" });

/// A parser on a fake toolkit.
class QuickTimeAVParserTest : public testing::Test {
protected:
    QuickTimeAVParserTest()
    {
        m_toolkit.movie.tracks = { trackOf(Vide, { fourCC("avc1") }), trackOf(Soun, { fourCC("mp4a") }) };
        m_path = m_folder.write("clip.mp4", std::string_view("twelve bytes"));
    }

    Record describe() { return describe(m_path); }
    Record describe(const Path& path) { return *m_parser.build(OpenedFile::at(path)); }
    void makeAudioOnly()
    {
        m_toolkit.movie.attributes[QTMovieHasVideoAttribute] = false;
        m_toolkit.movie.tracks = { trackOf(Soun, { fourCC("mp4a") }) };
    }
    void setDuration(double seconds) { m_toolkit.movie.duration = QTMakeTimeWithTimeInterval(seconds); }
    /// A file of `size` bytes that takes no room.
    std::string sparseFile(std::uintmax_t size)
    {
        std::string path = m_folder.write("sparse.m4a", std::string_view());
        std::filesystem::resize_file(path, size);
        return path;
    }

    test::ScratchFolder m_folder;
    test::LogCapture m_log;
    FakeQTKit m_toolkit;
    QuickTimeAVParser m_parser { m_toolkit };
    std::string m_path;
};

TEST_F(QuickTimeAVParserTest, CallsTheToolkitInOrder)
{
    describe();
    std::vector<std::string> names = m_toolkit.calls;
    ASSERT_GE(names.size(), 6u);
    EXPECT_EQ(names[0], "canInit " + m_path);
    EXPECT_EQ(names[1], "init " + m_path);
    EXPECT_EQ(names[2], "enter");
    EXPECT_EQ(names[3], QTMovieHasAudioAttribute);
    EXPECT_EQ(names[4], QTMovieHasVideoAttribute);
    EXPECT_EQ(names[names.size() - 2], "exit");
    EXPECT_EQ(names.back(), "release");
}

TEST_F(QuickTimeAVParserTest, ARefusedFileHasFileColumnsOnlyAndNoLog)
{
    m_toolkit.canInit = false;
    Record record = describe();
    EXPECT_THAT(keysOf(record), UnorderedElementsAreArray(kFileKeys));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("canInit " + m_path));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(QuickTimeAVParserTest, AFailedOpeningIsLoggedAndHasFileColumnsOnly)
{
    m_toolkit.initError = Error { Error::Kind::Format, "no movie box" };
    Record record = describe();
    EXPECT_THAT(keysOf(record), UnorderedElementsAreArray(kFileKeys));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("canInit " + m_path, "init " + m_path));
    EXPECT_THAT(m_log.lines(), ElementsAre("QTMovie initWithFile fail: error = no movie box"));
}

TEST_F(QuickTimeAVParserTest, NilHasAnEmptyRecord)
{
    Record record = describe(Path());
    EXPECT_TRUE(record.empty());
    EXPECT_THAT(m_toolkit.calls, IsEmpty());
}

TEST_F(QuickTimeAVParserTest, FileColumns)
{
    m_toolkit.canInit = false;
    Record record = describe();
    EXPECT_EQ(*record.string(MediaDBCommonColumnFilePath), m_path);
    EXPECT_EQ(*record.string(MediaDBCommonColumnFileName), "clip.mp4");
    EXPECT_EQ(*record.find(MediaDBCommonColumnIsManaged), Value(false));
    EXPECT_EQ(*record.find(MediaDBCommonColumnFileSize), Value(std::int64_t { 12 }));
    EXPECT_EQ(record.integer(MediaDBCommonColumnMediaType), MVMediaTypeMP4);
    EXPECT_EQ(*record.string(MediaDBCommonColumnFileTypeString), "MP4");
    EXPECT_EQ(*record.find(MediaDBCommonColumnLinkError), Value(false));
}

TEST_F(QuickTimeAVParserTest, AMissingFileHasNoSize)
{
    m_toolkit.canInit = false;
    Record record = describe("/no/such/file.xyz");
    EXPECT_FALSE(record.contains(MediaDBCommonColumnFileSize));
    EXPECT_EQ(record.size(), kFileKeys.size() - 1);
    EXPECT_EQ(record.integer(MediaDBCommonColumnMediaType), 0);
    EXPECT_EQ(*record.string(MediaDBCommonColumnFileTypeString), "UNKNOWN");
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(QuickTimeAVParserTest, AMissingFileThatOpensHasBitRateZero)
{
    makeAudioOnly();
    EXPECT_EQ(describe("/no/such/file.m4a").integer(MediaDBMusicColumnBitrate), 0);
}

TEST_F(QuickTimeAVParserTest, AppleLosslessIsRefused)
{
    for (bool hasVideo : { true, false }) {
        m_toolkit.movie.attributes[QTMovieHasVideoAttribute] = hasVideo;
        m_toolkit.movie.tracks = { trackOf(Soun, { fourCC("alac") }) };
        m_toolkit.calls.clear();
        EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kFileKeys));
        EXPECT_EQ(m_toolkit.calls.back(), "release");
    }
    EXPECT_THAT(
        m_log.lines(), ElementsAre("Apple Lossless audio is not supported", "Apple Lossless audio is not supported"));
}

TEST_F(QuickTimeAVParserTest, AppleLosslessIsNotAskedForWithoutSound)
{
    m_toolkit.movie.attributes[QTMovieHasAudioAttribute] = false;
    m_toolkit.movie.tracks.push_back(trackOf(Soun, { fourCC("alac") }));
    EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kVideoKeys));
}

TEST_F(QuickTimeAVParserTest, AMovieWithoutSoundAndPicturesHasFileColumnsOnly)
{
    m_toolkit.movie.attributes[QTMovieHasAudioAttribute] = false;
    m_toolkit.movie.attributes[QTMovieHasVideoAttribute] = false;
    EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kFileKeys));
    EXPECT_EQ(m_toolkit.calls.back(), "release");
}

TEST_F(QuickTimeAVParserTest, AudioColumns)
{
    makeAudioOnly();
    m_toolkit.movie.attributes[QTMovieRateAttribute] = 1.9f;
    setDuration(5.9);
    Date before = Date::now();
    Record record = describe(m_folder.write("song.m4a", std::string(10'000, 'x')));
    EXPECT_THAT(keysOf(record), UnorderedElementsAreArray(kAudioKeys));
    EXPECT_EQ(*record.string(MediaDBMusicColumnTitle), "Name");
    EXPECT_EQ(*record.find(MediaDBMusicColumnPlayLength), Value(5));
    EXPECT_EQ(*record.find(MediaDBMusicColumnBitrate), Value(16)); // 80,000 bits in 5 s
    EXPECT_EQ(*record.find(MediaDBMusicColumnSamplerate), Value(1));
    EXPECT_EQ(*record.find(MediaDBMusicColumnPlayCount), Value(0));
    EXPECT_EQ(*record.find(MediaDBMusicColumnRating), Value(0));
    EXPECT_EQ(*record.find(MediaDBMusicColumnAlbumRating), Value(0));
    EXPECT_GE(*record.date(MediaDBMusicColumnDateAdded), before);
    EXPECT_LE(*record.date(MediaDBMusicColumnDateAdded), Date::now());
    EXPECT_EQ(*record.date(MediaDBMusicColumnDateModified), Date::fromSeconds(2000));
    EXPECT_EQ(*record.find(MediaDBMusicColumnDRMProperty), Value(0));
    EXPECT_EQ(*record.find(MediaDBMusicColumnIsLicenseExpired), Value(false));
    EXPECT_EQ(*record.find(MediaDBMusicColumnHasLyrics), Value(false));
    EXPECT_EQ(*record.find(MediaDBMusicColumnPlayState), Value(0));
    EXPECT_EQ(*record.find(MediaDBMusicColumnIsReadOnly), Value(false));
}

TEST_F(QuickTimeAVParserTest, AudioIsNotValidatedAndNotShown)
{
    makeAudioOnly();
    m_toolkit.missing = { { fourCC("sdec"), fourCC("mp4a") }, { fourCC("adec"), fourCC("mp4a") } };
    EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kAudioKeys));
    EXPECT_TRUE(m_toolkit.frameTimes.empty());
}

TEST_F(QuickTimeAVParserTest, BelowASecondThereIsNoBitRate)
{
    makeAudioOnly();
    setDuration(0.5);
    Record record = describe();
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 0);
    EXPECT_EQ(record.integer(MediaDBMusicColumnBitrate), 0);
    setDuration(1.0);
    record = describe(m_folder.write("song.m4a", std::string(250, 'x')));
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 1);
    EXPECT_EQ(record.integer(MediaDBMusicColumnBitrate), 2);
}

TEST_F(QuickTimeAVParserTest, ADurationThatDoesNotConvertIsZero)
{
    makeAudioOnly();
    m_toolkit.movie.duration = { 77, 0 };
    Record record = describe();
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 0);
    EXPECT_EQ(record.integer(MediaDBMusicColumnBitrate), 0);
}

TEST_F(QuickTimeAVParserTest, BitsWrapIn32BitsFrom256MiB)
{
    makeAudioOnly();
    setDuration(10.0);
    EXPECT_EQ(describe(sparseFile((256u << 20) - 1)).integer(MediaDBMusicColumnBitrate), 214748);
    // 2^31 bits are -2^31, and the quotient is cut off towards zero.
    EXPECT_EQ(describe(sparseFile(256u << 20)).integer(MediaDBMusicColumnBitrate), -214748);
    EXPECT_EQ(describe(sparseFile(300u << 20)).integer(MediaDBMusicColumnBitrate), -177838);
    EXPECT_EQ(describe(sparseFile(512u << 20)).integer(MediaDBMusicColumnBitrate), 0);
    EXPECT_EQ(describe(sparseFile((512ull << 20) + 12'500)).integer(MediaDBMusicColumnBitrate), 10);
}

TEST_F(QuickTimeAVParserTest, VideoColumns)
{
    m_toolkit.movie.attributes[QTMovieNaturalSizeAttribute] = NSSize { 1024.9f, 575.5f };
    setDuration(65.99);
    Date before = Date::now();
    Record record = describe();
    EXPECT_THAT(keysOf(record), UnorderedElementsAreArray(kVideoKeys));
    EXPECT_GE(*record.date(MediaDBVideoColumnDateAdded), before);
    EXPECT_EQ(*record.date(MediaDBVideoColumnDateCreated), Date::fromSeconds(1000));
    EXPECT_EQ(*record.date(MediaDBVideoColumnDateModified), Date::fromSeconds(2000));
    EXPECT_EQ(*record.find(MediaDBVideoColumnDRMProperty), Value(0));
    EXPECT_EQ(*record.find(MediaDBVideoColumnPlayState), Value(0));
    EXPECT_EQ(*record.string(MediaDBVideoColumnTitle), "Name");
    EXPECT_EQ(*record.string(MediaDBVideoColumnVCodec), "AVC1");
    EXPECT_EQ(*record.string(MediaDBVideoColumnACodec), "MP4A");
    EXPECT_EQ(*record.find(MediaDBVideoColumnPlayLength), Value(65));
    EXPECT_EQ(*record.find(MediaDBVideoColumnWidth), Value(1024));
    EXPECT_EQ(*record.find(MediaDBVideoColumnHeight), Value(575));
    EXPECT_EQ(*record.find(MediaDBVideoColumnBitrate), Value(0));
    EXPECT_EQ(*record.find(MediaDBVideoColumnPlayCount), Value(0));
    EXPECT_EQ(*record.find(MediaDBVideoColumnRating), Value(0));
    EXPECT_EQ(*record.find(MediaDBVideoColumnIsReadOnly), Value(false));
    EXPECT_EQ(*record.find(MediaDBVideoColumnIsLicenseExpired), Value(false));
    EXPECT_EQ(*record.find(MediaDBVideoColumnIsChecked), Value(true));
    EXPECT_EQ(*record.find(MediaDBCommonColumnLinkError), Value(false));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(QuickTimeAVParserTest, AVideoWithoutANameHasNoTitle)
{
    m_toolkit.movie.attributes.erase(QTMovieDisplayNameAttribute);
    EXPECT_FALSE(describe().contains(MediaDBVideoColumnTitle));
}

TEST_F(QuickTimeAVParserTest, AVideoThatDoesNotValidateHasFileColumnsOnlyAndNoLog)
{
    m_toolkit.missing = { { fourCC("imdc"), fourCC("avc1") } };
    EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kFileKeys));
    EXPECT_THAT(m_log.lines(), IsEmpty());
    EXPECT_EQ(m_toolkit.calls.back(), "release");
}

TEST_F(QuickTimeAVParserTest, CodecsComeFromEveryTrackTheLastWins)
{
    m_toolkit.movie.tracks = { trackOf(Vide, { fourCC("mp4v"), fourCC("xxxx") }), trackOf(Soun, { fourCC("samr") }),
        trackOf(fourCC("text"), { fourCC("tx3g") }), trackOf(Vide, { fourCC("jpeg") }, false),
        trackOf(Soun, { fourCC(".mp3") }, false), trackOf(Vide, {}) };
    Record record = describe();
    EXPECT_EQ(*record.string(MediaDBVideoColumnVCodec), "JPEG");
    EXPECT_EQ(*record.string(MediaDBVideoColumnACodec), ".MP3");
}

TEST_F(QuickTimeAVParserTest, AVideoWithoutSoundHasNoAudioCodec)
{
    m_toolkit.movie.tracks = { trackOf(Vide, { fourCC("raw ") }) };
    m_toolkit.movie.attributes[QTMovieHasAudioAttribute] = false;
    Record record = describe();
    EXPECT_EQ(*record.string(MediaDBVideoColumnVCodec), "RAW ");
    EXPECT_FALSE(record.contains(MediaDBVideoColumnACodec));
}

struct FrameTime {
    double duration;
    double time;
};

class ThumbnailTimeTest : public QuickTimeAVParserTest, public testing::WithParamInterface<FrameTime> { };

TEST_P(ThumbnailTimeTest, DependsOnTheDuration)
{
    setDuration(GetParam().duration);
    describe();
    ASSERT_EQ(m_toolkit.frameTimes.size(), 1u);
    EXPECT_EQ(m_toolkit.frameTimes[0], QTMakeTimeWithTimeInterval(GetParam().time));
}

INSTANTIATE_TEST_SUITE_P(Durations, ThumbnailTimeTest,
    testing::Values(FrameTime { 0, 3.0 }, FrameTime { 2, 3.0 }, FrameTime { 3.0, 3.0 }, FrameTime { 3.001, 1.0 },
        FrameTime { 100.0, 1.0 }, FrameTime { 100.001, 10.800000190734863 }, FrameTime { 100.5, 10.800000190734863 }));

TEST_F(QuickTimeAVParserTest, TheImageIsTheFramesThumbnail)
{
    Record record = describe();
    EXPECT_EQ(*record.data(MediaDBVideoColumnImage),
        *makeThumbnailForContentCategory(*m_toolkit.movie.frame, ThumbnailCategoryVideoFrame));
    EXPECT_THAT(m_toolkit.calls, testing::Not(testing::Contains("poster")));
}

TEST_F(QuickTimeAVParserTest, WithoutAFrameItIsThePosters)
{
    m_toolkit.movie.frame.reset();
    Record record = describe();
    EXPECT_EQ(*record.data(MediaDBVideoColumnImage),
        *makeThumbnailForContentCategory(*m_toolkit.movie.poster, ThumbnailCategoryVideoFrame));
}

TEST_F(QuickTimeAVParserTest, WithoutBothThereIsNoImage)
{
    m_toolkit.movie.frame.reset();
    m_toolkit.movie.poster.reset();
    Record record = describe();
    EXPECT_FALSE(record.contains(MediaDBVideoColumnImage));
    EXPECT_EQ(record.size(), kVideoKeys.size() - 1);
}

TEST_F(QuickTimeAVParserTest, ABracketHasItsTwoSides)
{
    m_parser.runQTKitOnMainThread(false);
    m_parser.runQTKitOnMainThread(true);
    EXPECT_THAT(m_toolkit.calls, ElementsAre("enter", "exit"));
}

TEST_F(QuickTimeAVParserTest, CallsDoNotMix)
{
    describe();
    makeAudioOnly();
    EXPECT_THAT(keysOf(describe()), UnorderedElementsAreArray(kAudioKeys));
    m_toolkit.canInit = false;
    EXPECT_THAT(keysOf(describe("/other.avi")).size(), kFileKeys.size() - 1);
}

} // namespace
} // namespace mv
