// The two podcast frames of ID3 tags.
#include "tests/service/tags/Id3FileTest.h"

#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using test::latin1;
using testing::IsEmpty;

class ID3PodcastInfoTest : public Id3FileTest { };

TEST_F(ID3PodcastInfoTest, BothFramesGiveBothKeys)
{
    Record both { { kMediaTagPodcastEpisodeId, "episode-12" }, { kMediaTagPodcastChannelUrl, "http://example.com/f" } };
    std::string path = file(test::id3Tag(
        3, { { "TIT2", latin1("t") }, { "TGID", latin1("episode-12") }, { "WFED", latin1("http://example.com/f") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(path)), both);
    path = file(test::id3Tag(
        2, { { "TID", latin1("episode-12") }, { "TT2", latin1("t") }, { "WFD", "http://example.com/f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(path)), both);
    path = file(test::id3Tag(4, { { "WFED", latin1("http://example.com/f") }, { "TGID", latin1("episode-12") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(path)), both);
}

TEST_F(ID3PodcastInfoTest, AMissingOrEmptyFrameGivesNil)
{
    test::LogCapture log;
    EXPECT_EQ(
        UpdateID3Tag().podcastInfo(OpenedFile::at(file(test::id3Tag(3, { { "TGID", latin1("e") } })))), std::nullopt);
    EXPECT_EQ(
        UpdateID3Tag().podcastInfo(OpenedFile::at(file(test::id3Tag(3, { { "WFED", latin1("f") } })))), std::nullopt);
    EXPECT_EQ(
        UpdateID3Tag().podcastInfo(OpenedFile::at(file(test::id3Tag(3, { { "TGID", latin1("e") }, { "WFED", "" } })))),
        std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(file({}))), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(m_folder.file("missing.mp3"))), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(Path())), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ID3PodcastInfoTest, NamesBelongToTheVersion)
{
    EXPECT_EQ(UpdateID3Tag().podcastInfo(
                  OpenedFile::at(file(test::id3Tag(3, { { "TIDX", latin1("e") }, { "WFDX", latin1("f") } })))),
        std::nullopt);
}

TEST_F(ID3PodcastInfoTest, TheLastFrameOfAKindCounts)
{
    std::string path
        = file(test::id3Tag(3, { { "TGID", latin1("a") }, { "WFED", latin1("f") }, { "TGID", latin1("b") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(path)),
        (Record { { kMediaTagPodcastEpisodeId, "b" }, { kMediaTagPodcastChannelUrl, "f" } }));
}

TEST_F(ID3PodcastInfoTest, OtherEncodingBytesStayInTheText)
{
    std::string path = file(test::id3Tag(4, { { "TGID", "\3ä" }, { "WFED", "http://f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(path)),
        (Record { { kMediaTagPodcastEpisodeId, "\3ä" }, { kMediaTagPodcastChannelUrl, "http://f" } }));
}

TEST_F(ID3PodcastInfoTest, LongBodiesAndInvalidTextLeaveTheirKeyOut)
{
    Record feedOnly { { kMediaTagPodcastChannelUrl, "f" } };
    std::string longest = latin1(std::string(1022, 'e'));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(
                  OpenedFile::at(file(test::id3Tag(3, { { "TGID", longest }, { "WFED", latin1("f") } })))),
        (Record { { kMediaTagPodcastEpisodeId, longest.substr(1) }, { kMediaTagPodcastChannelUrl, "f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(
                  OpenedFile::at(file(test::id3Tag(3, { { "TGID", longest + "e" }, { "WFED", latin1("f") } })))),
        feedOnly);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(
                  OpenedFile::at(file(test::id3Tag(3, { { "TGID", latin1("\xE4") }, { "WFED", latin1("f") } })))),
        feedOnly);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(file(test::id3Tag(3,
                  { { "TGID",
                        "\1\xFF\xFE"
                        "a" },
                      { "WFED", latin1("\xFF") } })))),
        Record {});
}

} // namespace
} // namespace mv
