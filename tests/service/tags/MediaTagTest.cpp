// The dispatcher: reading goes by the extension, writing by the record's media type.
#include "service/tags/MediaTag.h"

#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "tests/service/tags/TagFiles.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv {
namespace {

using test::latin1;
using testing::ElementsAre;
using testing::IsEmpty;

class MediaTagTest : public testing::Test {
protected:
    Bytes podcast() const
    {
        return test::joined(
            { test::id3Tag(3, { { "TGID", latin1("e") }, { "WFED", latin1("f") } }), test::mp3Audio() });
    }

    test::ScratchFolder m_folder;
};

TEST_F(MediaTagTest, PodcastReadingGoesByTheExtension)
{
    Record both { { kMediaTagPodcastEpisodeId, "e" }, { kMediaTagPodcastChannelUrl, "f" } };
    for (std::string name : { "a.mp3", "a.Mp3", "a.b.MP3" })
        EXPECT_EQ(MediaTag().podcastInfo(OpenedFile::at(m_folder.write(name, podcast()))), both) << name;
    for (std::string name : { "a.M4A", "a.mp4", "a.wav", "mp3", "a.mp3x" }) {
        std::string path = m_folder.write(name, podcast());
        test::LogCapture log;
        EXPECT_EQ(MediaTag().podcastInfo(OpenedFile::at(path)), std::nullopt) << name;
        EXPECT_THAT(log.lines(), ElementsAre("MP4Tag file open fail " + path));
    }
}

TEST_F(MediaTagTest, WritingGoesByTheMediaType)
{
    std::string path = m_folder.write("song.m4a", test::mp3Audio());
    EXPECT_TRUE(MediaTag().updateTagWithDictionary(*EditableFile::at(path),
        { { MediaDBCommonColumnMediaType, MVMediaTypeMP3 }, { MediaDBMusicColumnTitle, "t" } }));
    EXPECT_THAT(test::mutagenLines("id3", path), ElementsAre("TIT2 enc=1 t", "version=2.3"));
    path = m_folder.write("song.mp3", test::mp3Audio());
    test::LogCapture log;
    EXPECT_FALSE(MediaTag().updateTagWithDictionary(
        *EditableFile::at(path), { { MediaDBCommonColumnMediaType, MVMediaTypeM4A } }));
    EXPECT_THAT(log.lines(), ElementsAre("MP4Tag file open fail " + path));
}

TEST_F(MediaTagTest, OtherMediaTypesAreFalseAndTouchNothing)
{
    std::string path = m_folder.write("song.mp3", podcast());
    test::LogCapture log;
    for (std::int32_t type : { MVMediaTypeUnknown, MVMediaTypeMP4, MVMediaTypeAAC, MVMediaTypeM4V, MVMediaTypeMP3 + 2 })
        EXPECT_FALSE(MediaTag().updateTagWithDictionary(
            *EditableFile::at(path), { { MediaDBCommonColumnMediaType, type }, { MediaDBMusicColumnTitle, "t" } }));
    EXPECT_FALSE(MediaTag().updateTagWithDictionary(*EditableFile::at(path), { { MediaDBMusicColumnTitle, "t" } }));
    EXPECT_EQ(test::readFile(path), podcast());
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(MediaTagTest, TheMediaTypeMayBeAText)
{
    std::string path = m_folder.write("song.mp3", test::mp3Audio());
    EXPECT_TRUE(MediaTag().updateTagWithDictionary(
        *EditableFile::at(path), { { MediaDBCommonColumnMediaType, "16777217" }, { MediaDBMusicColumnTitle, "t" } }));
    EXPECT_THAT(test::mutagenLines("id3", path), ElementsAre("TIT2 enc=1 t", "version=2.3"));
}

} // namespace
} // namespace mv
