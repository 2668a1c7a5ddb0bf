#include "service/parsers/ID3Columns.h"

#include "Base/Media/MediaDB.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace mv::test {
namespace {

using testing::ElementsAre;

const std::string Audio = mpegFrames(3);

/// "key=value" of every column, in the order in which they came.
std::vector<std::string> columnsOf(const std::string& file)
{
    MemorySource source(bytesOf(file));
    Record record;
    setID3Columns(record, *readTags(source), source);
    std::vector<std::string> columns;
    for (const auto& [key, value] : record)
        columns.push_back(key + "=" + (value.string() ? *value.string() : std::to_string(*value.integerValue())));
    return columns;
}

std::string frame(std::string_view id, const std::string& content) { return id3Frame(3, id, '\0' + content); }

TEST(ID3Columns, OfTheFramesThatDescribeASong)
{
    EXPECT_THAT(
        columnsOf(id3Tag(3,
                      frame("TIT2", "t") + id3Frame(3, "PRIV", "secret") + frame("TPE2", "x") + frame("TPE1", "a")
                          + frame("TALB", "b") + frame("TCOM", "c") + frame("TCON", "(17)") + frame("TRCK", "3/9")
                          + frame("TYER", "1999") + id3Frame(3, "COMM", zeroed("\0engdesc\0comment"))
                          + id3Frame(3, "SYLT", zeroed("\0eng\2\1\0")) + id3Frame(3, "USLT", zeroed("\0eng\0words"))
                          + id3Frame(3, "CDM ", "x") + id3Frame(3, "IPLS", "x"))
            + Audio),
        ElementsAre("Genre=Rock", "Title=t", "Artist=a", "Album=b", "Composer=c", "TrackNo=3", "DateReleased=1999",
            "ReservedText=comment", "HasLyrics=1"));
    EXPECT_THAT(columnsOf(Audio), ElementsAre("Genre=Unknown"));
}

TEST(ID3Columns, TimedLyricsCountWhateverTheyHold)
{
    EXPECT_THAT(columnsOf(id3Tag(3, id3Frame(3, "SYLT", ""))), ElementsAre("Genre=Unknown", "HasLyrics=1"));
    EXPECT_THAT(columnsOf(id3Tag(3, id3Frame(3, "SYLT", "secret", 0x40))), ElementsAre("Genre=Unknown", "HasLyrics=1"))
        << "encrypted";
    EXPECT_THAT(columnsOf(id3Tag(2, id3Frame(2, "SLT", ""))), ElementsAre("Genre=Unknown", "HasLyrics=1"));
}

TEST(ID3Columns, TagsInARowAddUpAndOneAtTheEndCountsAlone)
{
    std::string one = id3Tag(3, frame("TIT2", "one") + frame("TALB", "album"));
    std::string two = id3Tag(4, id3Frame(4, "TIT2", zeroed("\0two")));
    std::string end = id3TagWithFooter(id3Frame(4, "TIT2", zeroed("\0end")));
    EXPECT_THAT(columnsOf(one + two + Audio), ElementsAre("Genre=Unknown", "Title=two", "Album=album"));
    EXPECT_THAT(columnsOf(two + Audio + end), ElementsAre("Genre=Unknown", "Title=two"));
    EXPECT_THAT(columnsOf(Audio + end), ElementsAre("Genre=Unknown", "Title=end"));
}

TEST(ID3Columns, AnyId3v2TagHidesId3v1)
{
    std::string v1 = id3v1Tag({ "Title", "Artist", "Album", "1999", "Comment", 7, 17 });
    EXPECT_THAT(columnsOf(Audio + v1),
        ElementsAre("Genre=Rock", "Title=Title", "Artist=Artist", "Album=Album", "DateReleased=1999",
            "ReservedText=Comment", "TrackNo=7"));
    EXPECT_THAT(columnsOf(Audio + id3v1Tag({})), ElementsAre("Genre=Unknown"));
    EXPECT_THAT(columnsOf(id3Tag(3, "") + Audio + v1), ElementsAre("Genre=Unknown")) << "one without frames";
    EXPECT_THAT(columnsOf(id3Tag(5, "abc") + Audio + v1), ElementsAre("Genre=Unknown")) << "one of no known version";
}

TEST(ID3Columns, Lyrics3TextsGoBeforeId3v1s)
{
    auto file = [](const std::string& indications) {
        std::string fields = "LYRICSBEGIN"
                             "IND00003"
            + indications
            + "ETT00010Long title"
              "EAR00010LongArtist"
              "EAL00009LongAlbum"
              "INF00004info"
              "LYR00012[00:01]words";
        char digits[8];
        std::snprintf(digits, sizeof digits, "%06zu", fields.size());
        return Audio + fields + digits + "LYRICS200" + id3v1Tag({ .title = "Short", .year = "2001" });
    };
    EXPECT_THAT(columnsOf(file("110")),
        ElementsAre("Genre=Unknown", "Title=Long title", "Artist=LongArtist", "Album=LongAlbum", "ReservedText=info",
            "HasLyrics=1", "DateReleased=2001"));
    EXPECT_THAT(columnsOf(file("100")),
        ElementsAre("Genre=Unknown", "Title=Long title", "Artist=LongArtist", "Album=LongAlbum", "ReservedText=info",
            "DateReleased=2001"))
        << "lyrics without times";
}

TEST(ID3Columns, TextsAreBounded)
{
    std::string frames;
    for (char letter : { 'a', 'b', 'c', 'd', 'e' })
        frames += frame("TIT2", std::string(4'000'000, letter));
    EXPECT_EQ(
        columnsOf(id3Tag(3, frames + frame("TALB", "album")) + Audio).at(1), "Title=" + std::string(4'000'000, 'd'));
    EXPECT_EQ(columnsOf(id3Tag(3, frames + frame("TALB", "album")) + Audio).at(2), "Album=album");
}

} // namespace
} // namespace mv::test
