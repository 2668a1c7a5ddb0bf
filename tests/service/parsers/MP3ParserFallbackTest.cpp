// What the movie toolkit tells of files without MPEG frames.
#include "tests/service/parsers/MP3ParserFixture.h"
#include "tests/support/OrdinaryUser.h"

#include "Base/Media/MVMediaTypeReader.h"

#include <gmock/gmock.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class MP3ParserFallbackTest : public MP3ParserTest {
protected:
    std::string m_notMpeg = std::string(10'000, 'n');
};

TEST_F(MP3ParserFallbackTest, MovieFactsAndTheirFormulas)
{
    m_toolkit.movie.duration = { 3999, 1000 };
    m_toolkit.movie.attributes[QTMovieRateAttribute] = 1.75F;
    std::string content = id3Tag(3, frame3("TIT2", "Tagged")) + m_notMpeg;
    auto record = buildOf(content);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 3);
    EXPECT_EQ(record->integer(MediaDBMusicColumnBitrate),
        static_cast<int>(static_cast<double>(content.size()) * 8.0 / 3.999 / 1000.0));
    EXPECT_EQ(record->integer(MediaDBMusicColumnSamplerate), 1) << "the rate at which it plays";
    EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), "Tagged");
    EXPECT_EQ(record->integer(MediaDBCommonColumnMediaType), MVMediaTypeMP3);
}

TEST_F(MP3ParserFallbackTest, EntersAndLeaves)
{
    std::string path = m_scratch.write("movie.mp3", m_notMpeg);
    ASSERT_TRUE(m_parser.build(OpenedFile::at(path)));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("enter", "init " + path, "QTMovieRateAttribute", "exit", "release"));
}

TEST_F(MP3ParserFallbackTest, AFileThatIsNoMovieEitherIsNothingAndTheToolkitIsNotLeft)
{
    m_toolkit.initError = Error { Error::Kind::Format, "no movie" };
    std::string path = m_scratch.write("text.mp3", m_notMpeg);
    EXPECT_FALSE(m_parser.build(OpenedFile::at(path)));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("enter", "init " + path));
    EXPECT_THAT(m_log.lines(), IsEmpty());
}

TEST_F(MP3ParserFallbackTest, WithoutADurationOnlyTheRateIsSet)
{
    for (QTTime duration : { QTTime { 0, 1000 }, QTTime { -5, 1000 }, QTTime { 5, 0 } }) {
        m_toolkit.movie.duration = duration;
        m_toolkit.movie.attributes[QTMovieRateAttribute] = 2.0F;
        auto record = buildOf(m_notMpeg);
        ASSERT_TRUE(record);
        EXPECT_FALSE(record->contains(MediaDBMusicColumnPlayLength));
        EXPECT_FALSE(record->contains(MediaDBMusicColumnBitrate));
        EXPECT_EQ(record->integer(MediaDBMusicColumnSamplerate), 2);
    }
}

TEST_F(MP3ParserFallbackTest, NumbersBeyondTheColumnsAreHeldInside)
{
    m_toolkit.movie.duration = { 9'000'000'000'000'000'000, 1 };
    auto record = buildOf(m_notMpeg);
    ASSERT_TRUE(record);
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 2147483647);
    EXPECT_EQ(record->integer(MediaDBMusicColumnBitrate), 0);
}

TEST_F(MP3ParserFallbackTest, WhatIsNoReadableFileGoesToTheToolkit)
{
    m_toolkit.initError = Error { Error::Kind::Unsupported, "no" };
    std::string fifo = m_scratch.file("fifo.mp3");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string empty = m_scratch.write("empty.mp3", "");
    for (const std::string& path : { fifo, empty, m_scratch.path() })
        EXPECT_FALSE(m_parser.build(OpenedFile::at(path))) << path;
    EXPECT_EQ(m_toolkit.calls.size(), 6u);
}

TEST_F(MP3ParserFallbackTest, UnreadableFile)
{
    std::string path = m_scratch.write("secret.mp3", mpegFrames(10));
    chmod(path.c_str(), 0);
    m_toolkit.initError = Error { Error::Kind::Access, "no" };
    chmod(m_scratch.path().c_str(), 0755);
    OrdinaryUser user;
    EXPECT_FALSE(m_parser.build(OpenedFile::at(path)));
    EXPECT_THAT(m_toolkit.calls, ElementsAre("enter", "init " + path));
}

} // namespace
} // namespace mv::test
