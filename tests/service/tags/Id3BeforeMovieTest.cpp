// ID3 tags in front of MPEG-4 files, whose tables count from the start of the file.
#include "tests/service/tags/Id3FileTest.h"

#include "service/tags/UpdateMP4Tag.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using testing::Contains;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::StartsWith;

/// MPEG-4 files with the moov box before and behind the media, and in fragments.
class Id3BeforeMovieTest : public Id3FileTest {
protected:
    std::string movie(const std::string& flags)
    {
        std::string path = m_folder.file("song.m4a");
        test::outputOf(
            "ffmpeg -v error -y -f lavfi -i sine=d=2 -c:a aac -b:a 32k " + flags + " " + test::shellQuoted(path));
        return path;
    }
    static std::string audioHash(const std::string& path)
    {
        return test::outputOf("ffmpeg -v error -f mp4 -i " + test::shellQuoted(path) + " -map 0:a -f md5 -");
    }
};

TEST_F(Id3BeforeMovieTest, OffsetsMoveAlongWhenTheTagComesGrowsAndGoes)
{
    if (!test::haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    for (std::string flags : { "-movflags +faststart", "", "-movflags frag_keyframe+empty_moov",
             "-movflags frag_keyframe+empty_moov+default_base_moof+global_sidx" }) {
        std::string path = movie(flags);
        Bytes original = test::readFile(path);
        std::string hash = audioHash(path);
        EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "t" } }), Contains("TIT2 enc=1 t"));
        EXPECT_EQ(audioHash(path), hash) << flags;
        EXPECT_THAT(update(path, { { MediaDBMusicColumnAlbumArt, Bytes(100'000, 1) } }), Contains(StartsWith("APIC")));
        EXPECT_EQ(audioHash(path), hash) << flags;
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(
            *EditableFile::at(path), { { MediaDBMusicColumnAlbumArt, NullObject() } }));
        EXPECT_EQ(test::readFile(path), original) << flags;
    }
}

TEST_F(Id3BeforeMovieTest, MetadataOfTheMovieCanBeWrittenBehindTheTag)
{
    if (!test::haveProgram("ffmpeg"))
        GTEST_SKIP() << "ffmpeg is not installed";
    std::string path = movie("-movflags +faststart");
    std::string hash = audioHash(path);
    update(path, { { MediaDBMusicColumnTitle, "in front" } });
    test::LogCapture log;
    EXPECT_TRUE(UpdateMP4Tag().updateTagWithDictionary(
        *EditableFile::at(path), { { MediaDBMusicColumnTitle, std::string(3000, 'b') } }));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(audioHash(path), hash);
    EXPECT_THAT(test::mutagenLines("id3", path), Contains("TIT2 enc=1 in front"));
    EXPECT_THAT(
        test::outputOf("ffprobe -v error -f mp4 -show_entries format_tags=title -of csv " + test::shellQuoted(path)),
        HasSubstr(std::string(3000, 'b')));
}

} // namespace
} // namespace mv
