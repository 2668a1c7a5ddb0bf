// The ID3 writer, row by row and step by step, judged by what mutagen reads back.
#include "service/tags/UpdateID3Tag.h"
#include "service/tags/UpdateMP4Tag.h"

#include "Base/Core/NSException.h"
#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "Base/Media/MediaDB.h"
#include "tests/service/tags/TagFiles.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>

namespace mv {
namespace {

using test::latin1;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;

using Lines = std::vector<std::string>;

class UpdateID3TagTest : public testing::Test {
protected:
    /// A file of a tag, audio and what follows.
    std::string file(const Bytes& tag, const Bytes& after = {})
    {
        return m_folder.write("song.mp3", test::joined({ tag, test::mp3Audio(), after }));
    }
    /// A file with every frame that the rows speak of, and some more.
    std::string fullFile()
    {
        return file(test::id3Tag(3,
            { { "TIT2", latin1("old title") }, { "TALB", latin1("old album") }, { "TPE1", latin1("old artist") },
                { "TPE2", latin1("old album artist") }, { "TPE3", latin1("old conductor") },
                { "TCOM", latin1("old composer") }, { "COMM", latin1("eng") + latin1("old comment") },
                { "COMM", latin1("eng") + "iTunNORM" + latin1(" 000") }, { "TCON", latin1("(9)") },
                { "TRCK", latin1("3/12") }, { "APIC", latin1("image/png") + latin1("\3") + latin1("old picture") },
                { "TYER", latin1("1999") }, { "TXXX", latin1("mood") + latin1("calm") },
                { "PRIV", "owner" + latin1("\1\2\3") } },
            100));
    }
    Lines update(const std::string& path, const Record& record)
    {
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, record));
        return test::mutagenLines("id3", path);
    }

    test::ScratchFolder m_folder;
};

const Record kWhole { { MediaDBMusicColumnTitle, "Tïtle" }, { MediaDBMusicColumnAlbum, "앨범" },
    { MediaDBMusicColumnArtist, "Ärtist \U0001F600" }, { MediaDBCommonColumnReservedText, "Cömment" },
    { MediaDBMusicColumnComposer, "Cömposer" }, { MediaDBMusicColumnGenre, "Rock" }, { MediaDBMusicColumnTrackNo, 7 } };

TEST_F(UpdateID3TagTest, EveryRowIsWritten)
{
    EXPECT_THAT(update(fullFile(), kWhole),
        IsSupersetOf({ "version=2.3", "TIT2 enc=1 Tïtle", "TALB enc=1 앨범", "TPE1 enc=1 Ärtist \U0001F600",
            "COMM XXX desc= enc=1 Cömment", "TCOM enc=1 Cömposer", "TCON enc=0 (17)", "TRCK enc=0 7" }));
}

TEST_F(UpdateID3TagTest, FramesOfNoRowStay)
{
    std::string path = fullFile();
    auto before = test::mutagenLines("id3", path);
    auto after = update(path, kWhole);
    EXPECT_THAT(after, IsSupersetOf({ "TYER enc=0 1999", "TXXX mood=calm", "COMM eng desc=iTunNORM enc=0  000" }));
    EXPECT_THAT(after, Contains(StartsWith("PRIV ")));
    EXPECT_THAT(before,
        Contains(*std::find_if(after.begin(), after.end(), [](auto& line) { return line.starts_with("PRIV "); })));
}

TEST_F(UpdateID3TagTest, AloneATitleClearsTheOtherTexts)
{
    Lines lines = update(fullFile(), { { MediaDBMusicColumnTitle, "new" } });
    EXPECT_THAT(lines, IsSupersetOf({ "TIT2 enc=1 new", "TCON enc=0 (9)", "TRCK enc=0 3/12" }));
    EXPECT_THAT(lines, Contains(StartsWith("APIC image/png type=3 desc= 11:")));
    for (std::string_view id : { "TALB", "TPE1", "TPE2", "TPE3", "TCOM", "COMM" })
        EXPECT_THAT(lines, Not(Contains(StartsWith(std::string(id))))) << id;
}

TEST_F(UpdateID3TagTest, NullTextsRemoveLikeMissingOnes)
{
    NullObject null;
    Lines lines = update(fullFile(),
        { { MediaDBMusicColumnTitle, null }, { MediaDBMusicColumnAlbum, null }, { MediaDBMusicColumnArtist, null },
            { MediaDBCommonColumnReservedText, null }, { MediaDBMusicColumnComposer, null },
            { MediaDBMusicColumnGenre, null } });
    for (std::string_view id : { "TIT2", "TALB", "TPE1", "TPE2", "TPE3", "TCOM", "COMM" })
        EXPECT_THAT(lines, Not(Contains(StartsWith(std::string(id))))) << id;
    EXPECT_THAT(lines, Contains("TCON enc=0 (9)"));
}

TEST_F(UpdateID3TagTest, EveryRemovedFrameGoesNotOnlyTheFirst)
{
    std::string path = file(test::id3Tag(3,
        { { "TIT2", latin1("a") }, { "TIT2", latin1("b") }, { "TCOM", latin1("a") }, { "TCOM", latin1("b") },
            { "TYER", latin1("1999") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnComposer, "c" } }),
        ElementsAre("TCOM enc=1 c", "TYER enc=0 1999", "version=2.3"));
}

TEST_F(UpdateID3TagTest, ACommentReplacesPlainOnesInAnyEncodingAndLanguage)
{
    std::string utf16Empty("\1deu\xFF\xFE\0\0\xFF\xFEx\0", 12);
    std::string path = file(test::id3Tag(3,
        { { "COMM", latin1("eng") + latin1("old") }, { "COMM", utf16Empty },
            { "COMM", latin1("eng") + "d" + latin1("kept") } }));
    EXPECT_THAT(update(path, { { MediaDBCommonColumnReservedText, "new" } }),
        ElementsAre("COMM XXX desc= enc=1 new", "COMM eng desc=d enc=0 kept", "version=2.3"));
}

TEST_F(UpdateID3TagTest, ATextIsCutTo2000Units)
{
    std::string long2500(2500, 'x');
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTitle, long2500 } }),
        Contains("TIT2 enc=1 " + std::string(2000, 'x')));
    std::string exact(2000, 'y');
    EXPECT_THAT(
        update(fullFile(), { { MediaDBCommonColumnReservedText, exact } }), Contains("COMM XXX desc= enc=1 " + exact));
}

TEST_F(UpdateID3TagTest, ATextIsNotCutInsideACharacter)
{
    std::string text = std::string(1999, 'x') + "\U0001F600" + "tail";
    EXPECT_THAT(
        update(fullFile(), { { MediaDBMusicColumnTitle, text } }), Contains("TIT2 enc=1 " + std::string(1999, 'x')));
    text = std::string(1998, 'x') + "\U0001F600" + "tail";
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTitle, text } }),
        Contains("TIT2 enc=1 " + std::string(1998, 'x') + "\U0001F600"));
}

TEST_F(UpdateID3TagTest, AnEmptyTextIsATextAndAnEmptyGenreChangesNothing)
{
    Lines lines = update(fullFile(),
        { { MediaDBMusicColumnTitle, "" }, { MediaDBMusicColumnGenre, "" }, { MediaDBCommonColumnReservedText, "" } });
    EXPECT_THAT(lines, IsSupersetOf({ "TIT2 enc=1 ", "TCON enc=0 (9)", "COMM XXX desc= enc=1 " }));
}

TEST_F(UpdateID3TagTest, GenresOfTheTableAreNumbers)
{
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnGenre, "Blues" } }), Contains("TCON enc=0 (0)"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnGenre, "Synthpop" } }), Contains("TCON enc=0 (147)"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnGenre, "Christian Rock " } }), Contains("TCON enc=0 (141)"));
}

TEST_F(UpdateID3TagTest, OtherGenresAreTexts)
{
    for (std::string genre : { "rock", "Trip Hop", "Christian Rock", "(17)" })
        EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnGenre, genre } }), Contains("TCON enc=0 " + genre));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnGenre, "트로트" } }), Contains("TCON enc=1 트로트"));
}

TEST_F(UpdateID3TagTest, TracksKeepTheirLowByte)
{
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, 300 } }), Contains("TRCK enc=0 44"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, 255 } }), Contains("TRCK enc=0 255"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, "12/20" } }), Contains("TRCK enc=0 12"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, -1 } }), Contains("TRCK enc=0 255"));
}

TEST_F(UpdateID3TagTest, TrackZeroChangesNothing)
{
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, 0 } }), Contains("TRCK enc=0 3/12"));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnTrackNo, 256 } }), Contains("TRCK enc=0 3/12"));
}

TEST_F(UpdateID3TagTest, APictureIsStoredAsItIs)
{
    Lines lines = update(fullFile(), { { MediaDBMusicColumnAlbumArt, test::tinyPng() } });
    EXPECT_EQ(std::count_if(lines.begin(), lines.end(), [](auto& line) { return line.starts_with("APIC"); }), 1);
    EXPECT_THAT(lines, Contains(StartsWith("APIC image/jpeg type=3 desc= " + std::to_string(test::tinyPng().size()))));
    std::string path = m_folder.file("song.mp3");
    EXPECT_EQ(test::outputOf("ffmpeg -v error -i " + test::quoted(path) + " -map 0:v -c copy -f image2pipe -"),
        std::string(charsOf(test::tinyPng())));
}

TEST_F(UpdateID3TagTest, ANullPictureRemovesAllAndOtherKindsNone)
{
    EXPECT_THAT(
        update(fullFile(), { { MediaDBMusicColumnAlbumArt, NullObject() } }), Not(Contains(StartsWith("APIC"))));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnAlbumArt, "text" } }), Contains(StartsWith("APIC image/png")));
    EXPECT_THAT(update(fullFile(), { { MediaDBMusicColumnAlbumArt, 5 } }), Contains(StartsWith("APIC image/png")));
}

TEST_F(UpdateID3TagTest, AFileWithoutATagGetsOne)
{
    std::string path = file({});
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }), ElementsAre("TIT2 enc=1 new", "version=2.3"));
    EXPECT_EQ(test::readFile(path).size() - test::mp3Audio().size(), 4096u);
}

TEST_F(UpdateID3TagTest, WithoutAnyFrameThereIsNoTag)
{
    std::string path = file(test::id3Tag(3, { { "TIT2", latin1("old") } }, 500));
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, {}));
    EXPECT_EQ(test::readFile(path), test::mp3Audio());
}

TEST_F(UpdateID3TagTest, AudioAndTagsAtTheEndKeepTheirBytes)
{
    std::string lyrics = "LYRICSBEGINhello wordsLYRICSEND";
    Bytes after = test::joined({ { lyrics.begin(), lyrics.end() }, test::id3v1Tag("v1 title", "1977", 5, 17) });
    std::string path = file(test::id3Tag(3, { { "TIT2", latin1("old") } }), after);
    update(path, { { MediaDBMusicColumnTitle, std::string(1500, 'x') } });
    Bytes content = test::readFile(path);
    Bytes expected = test::joined({ test::mp3Audio(), after });
    ASSERT_GT(content.size(), expected.size());
    EXPECT_TRUE(std::equal(expected.rbegin(), expected.rend(), content.rbegin()));
}

TEST_F(UpdateID3TagTest, WhatOnlyID3v1HasIsTakenOver)
{
    std::string path = file({}, test::id3v1Tag("v1 title", "1977", 5, 17));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TCON enc=0 (17)", "TIT2 enc=1 new", "TRCK enc=0 5", "TYER enc=0 1977", "version=2.3"));
    path = file(test::id3Tag(3, { { "TRCK", latin1("3/12") } }), test::id3v1Tag("v1 title", "", 5, 255));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TIT2 enc=1 new", "TRCK enc=0 3/12", "version=2.3"));
}

TEST_F(UpdateID3TagTest, AV22TagBecomesV23)
{
    std::string path = file(test::id3Tag(2,
        { { "TT2", latin1("old") }, { "TYE", latin1("1999") }, { "TXX", latin1("mood") + latin1("calm") },
            { "PIC", latin1("PNG\3") + latin1("picture") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        IsSupersetOf({ "TIT2 enc=1 new", "TYER enc=0 1999", "TXXX mood=calm", "version=2.3" }));
    EXPECT_THAT(test::mutagenLines("id3", path), Contains(StartsWith("APIC image/png type=3 desc= 7:")));
}

TEST_F(UpdateID3TagTest, AV24TagBecomesV23WithoutLosingItsDate)
{
    std::string path = file(test::id3Tag(4,
        { { "TIT2", "\3old" }, { "TDRC", "\0032005-03-21T10:20:30" }, { "TSOP", "\3Ärtist, The" },
            { "TXXX", "\3mood" + latin1("cälm") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TDAT enc=0 2103", "TIME enc=0 1020", "TIT2 enc=1 new", "TSOP enc=1 Ärtist, The", "TXXX mood=cälm",
            "TYER enc=1 2005", "version=2.3"));
}

TEST_F(UpdateID3TagTest, AFooterThatIsNotThereCostsNoAudio)
{
    Bytes claims = test::id3Tag(4, { { "TIT2", "\3old" } });
    claims[5] = 0x10; // has a footer
    Bytes footer(claims.begin(), claims.begin() + 10);
    std::copy_n("3DI", 3, footer.begin());
    for (const Bytes& tag : { claims, test::joined({ claims, footer }) }) {
        std::string path = file(tag);
        update(path, { { MediaDBMusicColumnTitle, std::string(1000, 'x') } });
        Bytes content = test::readFile(path);
        Bytes audio = test::mp3Audio();
        ASSERT_GT(content.size(), audio.size());
        EXPECT_TRUE(std::equal(audio.rbegin(), audio.rend(), content.rbegin()));
        EXPECT_EQ(content[content.size() - audio.size() - 1], 0); // padding: the footer is gone
    }
}

TEST_F(UpdateID3TagTest, ChaptersOfAV24TagBecomeV23ToTheirInnerFrames)
{
    std::string title(200, 't'); // in v2.4 its size is written otherwise
    std::string inner(charsOf(test::id3Tag(4, { { "TIT2", "\3\u00E4" + title } })).substr(10));
    std::string chapter = latin1("").insert(0, "ch1") + std::string(16, '\1') + inner;
    std::string contents = std::string("toc\0\3\1ch1\0", 10) + inner;
    std::string path = file(test::id3Tag(4, { { "CHAP", chapter }, { "CTOC", contents } }));
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_EQ(test::outputOf("/usr/bin/python3 -c "
                  + test::quoted(
                      "import sys\nfrom mutagen.id3 import ID3\n"
                      "t = ID3(sys.argv[1], translate=False)\n"
                      "for f in t.getall('CHAP') + t.getall('CTOC'): print(f.element_id, *f.sub_frames['TIT2'].text)")
                  + " " + test::quoted(path)),
        "ch1 \u00E4" + title + "\ntoc \u00E4" + title + "\n");
}

TEST_F(UpdateID3TagTest, FramesOfATagAtTheEndAreTakenOverWhereThereIsNoneAtTheFront)
{
    Bytes appended = test::id3Tag(4, { { "TIT2", "\3old" }, { "TBPM", "\003120" } });
    appended[5] = 0x10; // has a footer
    Bytes footer(appended.begin(), appended.begin() + 10);
    std::copy_n("3DI", 3, footer.begin());
    Bytes after = test::joined({ appended, footer });
    std::string path = file({}, after);
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TBPM enc=1 120", "TIT2 enc=1 new", "version=2.3"));
    Bytes content = test::readFile(path);
    EXPECT_TRUE(std::equal(after.rbegin(), after.rend(), content.rbegin()));
}

TEST_F(UpdateID3TagTest, SeveralTagsAtTheFrontBecomeOne)
{
    Bytes tags = test::joined(
        { test::id3Tag(3, { { "TYER", latin1("1999") } }, 10), test::id3Tag(3, { { "TBPM", latin1("120") } }) });
    std::string path = file(tags);
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TBPM enc=0 120", "TIT2 enc=1 new", "TYER enc=0 1999", "version=2.3"));
}

TEST_F(UpdateID3TagTest, ASmallChangeKeepsTheFileSizeAndTheSameOneWritesNothing)
{
    std::string path = fullFile();
    update(path, kWhole);
    std::size_t size = test::readFile(path).size();
    Record changed = kWhole;
    changed.set(MediaDBMusicColumnTitle, "another title");
    update(path, changed);
    EXPECT_EQ(test::readFile(path).size(), size);
    struct stat before { };
    stat(path.c_str(), &before);
    update(path, changed);
    struct stat after { };
    stat(path.c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(UpdateID3TagTest, AGreatPictureGivesItsRoomBack)
{
    std::string path = fullFile();
    update(path, { { MediaDBMusicColumnAlbumArt, Bytes(1 << 20, 7) } });
    EXPECT_GT(test::readFile(path).size(), std::size_t { 1 << 20 });
    update(path, { { MediaDBMusicColumnAlbumArt, NullObject() } });
    EXPECT_LT(test::readFile(path).size(), test::mp3Audio().size() + 8192);
}

TEST_F(UpdateID3TagTest, APathOfNilIsTheRecords)
{
    std::string path = fullFile();
    Record record { { MediaDBCommonColumnFilePath, path }, { MediaDBMusicColumnTitle, "new" } };
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(Path(), record));
    EXPECT_THAT(test::mutagenLines("id3", path), Contains("TIT2 enc=1 new"));
}

TEST_F(UpdateID3TagTest, WithoutAFileTheAnswerIsFalseAndNothingIsLogged)
{
    test::LogCapture log;
    EXPECT_FALSE(UpdateID3Tag().updateTagWithDictionary(Path(), { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_FALSE(UpdateID3Tag().updateTagWithDictionary(Path(), { { MediaDBCommonColumnFilePath, NullObject() } }));
    EXPECT_FALSE(UpdateID3Tag().updateTagWithDictionary(m_folder.file("missing.mp3"), {}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(UpdateID3TagTest, AnUpdateThatFailsIsStillTrueAndLogged)
{
    test::LogCapture log;
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(m_folder.path(), { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("not a regular file")));
}

TEST_F(UpdateID3TagTest, ATagThatCannotBeReadWholeIsLeftAlone)
{
    Bytes future = test::id3Tag(3, { { "TIT2", latin1("old") } });
    future[3] = 5;
    Bytes cut = test::id3Tag(3, { { "TIT2", latin1("old") } });
    cut[6] = 1; // claims two megabytes
    for (const Bytes& tag : { future, cut }) {
        std::string path = file(tag);
        Bytes before = test::readFile(path);
        test::LogCapture log;
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, { { MediaDBMusicColumnTitle, "new" } }));
        EXPECT_EQ(test::readFile(path), before);
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("the present ID3v2 tag cannot be read whole")));
    }
}

TEST_F(UpdateID3TagTest, ValuesOfAWrongKindRaiseAndChangeNothing)
{
    std::string path = fullFile();
    Bytes before = test::readFile(path);
    auto raises = [&](std::string_view key, Value value) {
        try {
            UpdateID3Tag().updateTagWithDictionary(path, { { key, value } });
            ADD_FAILURE() << key;
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), NSInvalidArgumentException) << key;
        }
    };
    raises(MediaDBMusicColumnTrackNo, NullObject());
    raises(MediaDBMusicColumnTrackNo, Bytes { 1 });
    raises(MediaDBMusicColumnTitle, 5);
    raises(MediaDBMusicColumnGenre, 17);
    EXPECT_EQ(test::readFile(path), before);
}

/// MPEG-4 files with the moov box before and behind the media, and in fragments.
class Id3BeforeMovieTest : public UpdateID3TagTest {
protected:
    std::string movie(const std::string& flags)
    {
        std::string path = m_folder.file("song.m4a");
        test::outputOf("ffmpeg -v error -y -f lavfi -i sine=d=2 -c:a aac -b:a 32k " + flags + " " + test::quoted(path));
        return path;
    }
    static std::string audioHash(const std::string& path)
    {
        return test::outputOf("ffmpeg -v error -f mp4 -i " + test::quoted(path) + " -map 0:a -f md5 -");
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
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, { { MediaDBMusicColumnAlbumArt, NullObject() } }));
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
    EXPECT_TRUE(UpdateMP4Tag().updateTagWithDictionary(path, { { MediaDBMusicColumnTitle, std::string(3000, 'b') } }));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_EQ(audioHash(path), hash);
    EXPECT_THAT(test::mutagenLines("id3", path), Contains("TIT2 enc=1 in front"));
    EXPECT_THAT(test::outputOf("ffprobe -v error -f mp4 -show_entries format_tags=title -of csv " + test::quoted(path)),
        HasSubstr(std::string(3000, 'b')));
}

class ID3PodcastInfoTest : public UpdateID3TagTest { };

TEST_F(ID3PodcastInfoTest, BothFramesGiveBothKeys)
{
    Record both { { kMediaTagPodcastEpisodeId, "episode-12" }, { kMediaTagPodcastChannelUrl, "http://example.com/f" } };
    std::string path = file(test::id3Tag(
        3, { { "TIT2", latin1("t") }, { "TGID", latin1("episode-12") }, { "WFED", latin1("http://example.com/f") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(path), both);
    path = file(test::id3Tag(
        2, { { "TID", latin1("episode-12") }, { "TT2", latin1("t") }, { "WFD", "http://example.com/f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(path), both);
    path = file(test::id3Tag(4, { { "WFED", latin1("http://example.com/f") }, { "TGID", latin1("episode-12") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(path), both);
}

TEST_F(ID3PodcastInfoTest, AMissingOrEmptyFrameGivesNil)
{
    test::LogCapture log;
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TGID", latin1("e") } }))), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "WFED", latin1("f") } }))), std::nullopt);
    EXPECT_EQ(
        UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TGID", latin1("e") }, { "WFED", "" } }))), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file({})), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(m_folder.file("missing.mp3")), std::nullopt);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(Path()), std::nullopt);
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(ID3PodcastInfoTest, NamesBelongToTheVersion)
{
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TIDX", latin1("e") }, { "WFDX", latin1("f") } }))),
        std::nullopt);
}

TEST_F(ID3PodcastInfoTest, TheLastFrameOfAKindCounts)
{
    std::string path
        = file(test::id3Tag(3, { { "TGID", latin1("a") }, { "WFED", latin1("f") }, { "TGID", latin1("b") } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(path),
        (Record { { kMediaTagPodcastEpisodeId, "b" }, { kMediaTagPodcastChannelUrl, "f" } }));
}

TEST_F(ID3PodcastInfoTest, OtherEncodingBytesStayInTheText)
{
    std::string path = file(test::id3Tag(4, { { "TGID", "\3ä" }, { "WFED", "http://f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(path),
        (Record { { kMediaTagPodcastEpisodeId, "\3ä" }, { kMediaTagPodcastChannelUrl, "http://f" } }));
}

TEST_F(ID3PodcastInfoTest, LongBodiesAndInvalidTextLeaveTheirKeyOut)
{
    Record feedOnly { { kMediaTagPodcastChannelUrl, "f" } };
    std::string longest = latin1(std::string(1022, 'e'));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TGID", longest }, { "WFED", latin1("f") } }))),
        (Record { { kMediaTagPodcastEpisodeId, longest.substr(1) }, { kMediaTagPodcastChannelUrl, "f" } }));
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TGID", longest + "e" }, { "WFED", latin1("f") } }))),
        feedOnly);
    EXPECT_EQ(
        UpdateID3Tag().podcastInfo(file(test::id3Tag(3, { { "TGID", latin1("\xE4") }, { "WFED", latin1("f") } }))),
        feedOnly);
    EXPECT_EQ(UpdateID3Tag().podcastInfo(file(test::id3Tag(3,
                  { { "TGID",
                        "\1\xFF\xFE"
                        "a" },
                      { "WFED", latin1("\xFF") } }))),
        Record {});
}

} // namespace
} // namespace mv
