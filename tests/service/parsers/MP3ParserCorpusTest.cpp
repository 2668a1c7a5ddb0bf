// The corpus's MP3 files against what their origins' tests state of them.

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "service/parsers/MP3Parser.h"
#include "tests/fakes/FakeQTKit.h"
#include "tests/support/Corpus.h"

#include <cmath>
#include <gtest/gtest.h>
#include <map>

namespace mv::test {
namespace {

// Their keys for columns of ours.
const std::map<std::string, std::string_view> Columns {
    { "title", MediaDBMusicColumnTitle },
    { "artist", MediaDBMusicColumnArtist },
    { "album", MediaDBMusicColumnAlbum },
    { "composer", MediaDBMusicColumnComposer },
    { "genre", MediaDBMusicColumnGenre },
    { "year", MediaDBMusicColumnDateReleased },
    { "id3v2.TYER", MediaDBMusicColumnDateReleased },
    { "comment", MediaDBCommonColumnReservedText },
    { "track", MediaDBMusicColumnTrackNo },
    { "duration_s", MediaDBMusicColumnPlayLength },
    { "duration_s(whole)", MediaDBMusicColumnPlayLength },
    { "duration_us", MediaDBMusicColumnPlayLength },
    { "duration_ms", MediaDBMusicColumnPlayLength },
    { "sample_rate", MediaDBMusicColumnSamplerate },
    { "bitrate_bps", MediaDBMusicColumnBitrate },
    { "bitrate_kbps", MediaDBMusicColumnBitrate },
    { "ID3v2_2.Title", MediaDBMusicColumnTitle },
    { "ID3v2_2.Artist", MediaDBMusicColumnArtist },
    { "ID3v2_2.Album", MediaDBMusicColumnAlbum },
    { "ID3v2_2.Composer", MediaDBMusicColumnComposer },
    { "ID3v2_2.Genre", MediaDBMusicColumnGenre },
    { "ID3v2_2.Year", MediaDBMusicColumnDateReleased },
    { "ID3v2_2.Track", MediaDBMusicColumnTrackNo },
    { "ID3v2_2.Comment", MediaDBCommonColumnReservedText },
    { "title[1]", MediaDBMusicColumnTitle },
    { "comment[XXX,\"\"]", MediaDBCommonColumnReservedText },
};

struct Difference {
    std::string_view file, key, ours, reason;
};

constexpr std::string_view LastComment
    = "the last comment frame counts, whatever its description (players keep numbers in them)";
constexpr std::string_view GenreTable = "numbers become the genre table's names";
constexpr std::string_view NoShiftJis
    = "ID3v1 texts are read as Korean, then as Latin-1; other code pages are not guessed";
constexpr std::string_view NoTrack = "a missing track is left out";
constexpr std::string_view FirstFrame = "the first frame's rate counts, not the average of a variable one";
constexpr std::string_view NoAudio = "a tag alone, without audio or a movie, is no song";

// Where the answer differs, what it is and why.
const std::vector<Difference> Differences {
    { "mp3/full.mp3", "comment",
        " 00000000 00000210 00000A2C 000000000000AC44 00000000 000021AC 00000000 00000000 00000000 00000000 00000000 "
        "00000000",
        LastComment },
    { "mp3/id3v1v2-combined.mp3", "comment",
        "9D09130B+174405+11+150+14097+27391+43983+65786+84877+99399+113226+132452+146426+163829", LastComment },
    { "mp3/id3v22-test.mp3", "comment", "3", LastComment },
    { "mp3/id3v24_extended_header.id3", "title", "(nil)", NoAudio },
    { "mp3/obsolete.mp3", "comment",
        " 00000000 00000000 00000000 00000000 000000FF 000000FF 00000004 00000005 000000FF 000000FF", LastComment },
    { "mp3/obsolete.mp3", "genre", "AlternRock", GenreTable },
    { "mp3/obsolete.mp3", "genre", "AlternRock", GenreTable },
    { "mp3/sample_ms932_v1.1.mp3", "album",
        "\302\203T\302\203\302\223\302\203v\302\203\302\213\302\202\303\214\302\203A\302\203\302\213\302\203o\302\203"
        "\302\200",
        NoShiftJis },
    { "mp3/sample_ms932_v1.1.mp3", "artist",
        "\302\203T\302\203\302\223\302\203v\302\203\302\213\302\202\303\214\302\203A\302\201["
        "\302\203e\302\203B\302\203X\302\203g",
        NoShiftJis },
    { "mp3/sample_ms932_v1.1.mp3", "title",
        "\302\203T\302\203\302\223\302\203v\302\203\302\213\302\202\303\214\302\203^\302\203C\302\203g\302\203\302\213",
        NoShiftJis },
    { "mp3/sample_ms932_v1.mp3", "track", "(absent)", NoTrack },
    { "mp3/silence-44-s-mpeg2.mp3", "bitrate_bps", "64", FirstFrame },
    { "mp3/silence-44-s-mpeg25.mp3", "bitrate_bps", "32", FirstFrame },
    { "mp3/v1tagwithnotrack.mp3", "track", "(absent)", NoTrack },
    { "mp3/vbri.mp3", "bitrate_bps", "160", FirstFrame },
    { "mp3/vbri.mp3", "bitrate_kbps", "160", FirstFrame },
    { "mp3/withitunescomment.mp3", "comment",
        " 00000A78 00000A74 00000C7C 00000C6C 00000000 00000000 000051F7 00005634 00000000 00000000", LastComment },
};

std::string secondsText(double seconds) { return formatText("%d", static_cast<int>(std::floor(seconds + 0.5))); }

std::string expectedText(const ExpectedRow& row)
{
    if (row.key == "duration_us")
        return secondsText(std::stod(row.value) / 1e6);
    if (row.key == "duration_ms")
        return secondsText(std::stod(row.value) / 1e3);
    if (row.key.starts_with("duration"))
        return secondsText(std::stod(row.value));
    if (row.key == "bitrate_bps")
        return formatText("%d", static_cast<int>(std::stod(row.value) / 1000));
    if (row.key == "bitrate_kbps")
        return formatText("%d", static_cast<int>(std::stod(row.value)));
    if (row.key == "track" || row.key == "ID3v2_2.Track")
        return formatText("%d", leadingInteger(row.value));
    return row.value;
}

std::string ours(const std::optional<Record>& record, std::string_view column)
{
    if (!record)
        return "(nil)";
    const Value* value = record->find(column);
    if (!value)
        return "(absent)";
    return value->string() ? *value->string() : formatText("%d", *value->integerValue());
}

class MP3ParserCorpusTest : public testing::Test {
protected:
    MP3ParserCorpusTest() { m_toolkit.initError = Error { Error::Kind::Unsupported, "no movies here" }; }
    std::optional<Record> build(const std::string& file)
    {
        return MP3Parser(m_toolkit).build(OpenedFile::at(corpusFile(file)));
    }

    FakeQTKit m_toolkit;
};

TEST_F(MP3ParserCorpusTest, EveryRowIsMetOrExplained)
{
    MV_NEEDS_CORPUS();
    std::size_t compared = 0;
    std::size_t explained = 0;
    for (const ExpectedRow& row : corpusExpectations()) {
        auto column = Columns.find(row.key);
        bool mp3 = row.file.starts_with("mp3/") || (row.file.starts_with("bad/") && row.file.ends_with(".mp3"));
        if (!mp3 || column == Columns.end())
            continue;
        ++compared;
        std::string got = ours(build(row.file), column->second);
        if (got == expectedText(row))
            continue;
        bool known = false;
        for (const Difference& difference : Differences)
            known = known || (difference.file == row.file && difference.key == row.key && difference.ours == got);
        EXPECT_TRUE(known) << row.file << "\t" << row.key << "\texpected '" << row.value << "', got '" << got << "'";
        ++explained;
    }
    EXPECT_GT(compared, 130u);
    EXPECT_EQ(explained, Differences.size()) << "a difference that is none any more, or a new one";
}

TEST_F(MP3ParserCorpusTest, FilesWithoutAudioAreNothing)
{
    MV_NEEDS_CORPUS();
    for (const char* file : { "bad/emptyfile.mp3", "bad/notanmp3.mp3", "bad/1024_incrementing_bytes.mp3",
             "mp3/utf16-apic", "mp3/github-issue-86a.id3" })
        EXPECT_FALSE(build(file)) << file;
}

TEST_F(MP3ParserCorpusTest, OneFrameIsAudio)
{
    MV_NEEDS_CORPUS();
    auto record = build("bad/incompletempegframe.mp3");
    ASSERT_TRUE(record);
    EXPECT_EQ(record->integer(MediaDBMusicColumnBitrate), 128);
    EXPECT_EQ(record->integer(MediaDBMusicColumnPlayLength), 0);
}

TEST_F(MP3ParserCorpusTest, CoversOfEveryVersion)
{
    MV_NEEDS_CORPUS();
    for (const char* file : { "mp3/id3v22.id3", "mp3/id3v23.id3", "mp3/id3v24.id3", "mp3/image.mp3", "mp3/bear-id3.mp3",
             "mp3/v1andv23tagswithalbumimage-utf16le.mp3" }) {
        auto record = build(file);
        ASSERT_TRUE(record) << file;
        EXPECT_TRUE(record->contains(MediaDBMusicColumnAlbumArt)) << file;
    }
}

} // namespace
} // namespace mv::test
