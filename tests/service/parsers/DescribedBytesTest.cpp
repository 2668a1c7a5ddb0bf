// Whoever describes a file knows it by what was opened, never by its name.
#include "Base/Media/MediaDB.h"
#include "pictures/Canvas.h"
#include "platform/BASS.h"
#include "service/image/UnifiedImageInfoBuider.h"
#include "service/parsers/MP3Parser.h"
#include "service/parsers/MP4Parser.h"
#include "service/parsers/MVBasicAudioParser.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "tests/platform/BASSFixture.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Mp4Maker.h"

namespace mv::test {
namespace {

class DescribedBytesTest : public testing::Test {
protected:
    DescribedBytesTest() { BASS_Init(-1, 44100, 0, nullptr, nullptr); }
    ~DescribedBytesTest() override { BASS_Free(); }

    /// What the service says of a file of that content, where nothing is at its path.
    template <class Builder> Record recordOf(const std::string& name, ByteView content)
    {
        FileAttributes attributes { .size = 5'000'000'000, .modificationDate = Modified, .isRegularFile = true };
        OpenedFile file(m_folder.file(name), attributes, sourceOfBytes(Bytes(content.begin(), content.end())));
        auto record = Builder().build(file);
        EXPECT_TRUE(record) << name;
        return record.value_or(Record());
    }

    static constexpr Date Modified { 1'234'567'890'000'000 };
    ScratchFolder m_folder;
};

TEST_F(DescribedBytesTest, Mp3)
{
    std::string song = id3Tag(3, id3Frame(3, "TIT2", zeroed("\0Tone"))) + mpegFrames(770);
    Record record = recordOf<MP3Parser>("a.mp3", bytesOf(song));
    EXPECT_EQ(*record.string(MediaDBMusicColumnTitle), "Tone");
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 20);
    EXPECT_EQ(*record.find(MediaDBCommonColumnFileSize), Value(std::int64_t { 5'000'000'000 }));
    EXPECT_EQ(*record.date(MediaDBMusicColumnDateModified), Modified);
}

TEST_F(DescribedBytesTest, Mpeg4)
{
    Mp4Spec spec;
    spec.items = textItem("\xA9nam", "Tone");
    Bytes content = makeMp4(spec).bytes;
    EXPECT_EQ(*recordOf<MP4Parser>("a.m4a", content).string(MediaDBMusicColumnTitle), "Tone");
    EXPECT_TRUE(recordOf<QuickTimeAVParser>("a.m4a", content).contains(MediaDBMusicColumnPlayLength));
    EXPECT_TRUE(recordOf<MP3Parser>("a.mp3", content).contains(MediaDBMusicColumnPlayLength)) << "as a movie";
}

TEST_F(DescribedBytesTest, AMovieOfFfmpegs)
{
    Record record = recordOf<QuickTimeAVParser>("a.mp3", bytesOf(mpegFrames(770)));
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 20);
    EXPECT_EQ(*record.string(MediaDBMusicColumnTitle), "a.mp3");
    EXPECT_EQ(*record.date(MediaDBMusicColumnDateModified), Modified);
}

TEST_F(DescribedBytesTest, Flac)
{
    Record record = recordOf<MVBasicAudioParser>("a.flac", flacHeader(44100, 2, 88200));
    EXPECT_EQ(record.integer(MediaDBMusicColumnPlayLength), 3);
    EXPECT_EQ(record.integer(MediaDBCommonColumnReservedInt), 0);
}

TEST_F(DescribedBytesTest, APicture)
{
    Record record = recordOf<UnifiedImageInfoBuilder>("a.jpg", std::move(*Canvas::create(8, 8)).tiffRepresentation());
    EXPECT_TRUE(record.data(MediaDBPhotoColumnImage));
    EXPECT_EQ(*record.date(MediaDBPhotoColumnDateModified), Modified);
}

} // namespace
} // namespace mv::test
