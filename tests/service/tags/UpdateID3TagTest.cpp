// The ID3 writer, row by row and step by step, judged by what mutagen reads back.
#include "tests/service/tags/Id3FileTest.h"

#include "Base/Core/NSException.h"
#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "id3/TagReader.h"
#include "system/InputFile.h"
#include "tests/support/LogCapture.h"

#include <gmock/gmock.h>
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
using testing::UnorderedElementsAreArray;

using Lines = std::vector<std::string>;

class UpdateID3TagTest : public Id3FileTest { };

const Record Whole { { MediaDBMusicColumnTitle, "Tïtle" }, { MediaDBMusicColumnAlbum, "앨범" },
    { MediaDBMusicColumnArtist, "Ärtist \U0001F600" }, { MediaDBCommonColumnReservedText, "Cömment" },
    { MediaDBMusicColumnComposer, "Cömposer" }, { MediaDBMusicColumnGenre, "Rock" }, { MediaDBMusicColumnTrackNo, 7 } };

TEST_F(UpdateID3TagTest, EveryRowIsWritten)
{
    EXPECT_THAT(update(fullFile(), Whole),
        IsSupersetOf({ "version=2.3", "TIT2 enc=1 Tïtle", "TALB enc=1 앨범", "TPE1 enc=1 Ärtist \U0001F600",
            "COMM XXX desc= enc=1 Cömment", "TCOM enc=1 Cömposer", "TCON enc=0 (17)", "TRCK enc=0 7" }));
}

TEST_F(UpdateID3TagTest, FramesOfNoRowStay)
{
    std::string path = fullFile();
    auto before = test::mutagenLines("id3", path);
    auto after = update(path, Whole);
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
    EXPECT_EQ(test::outputOf("ffmpeg -v error -i " + test::shellQuoted(path) + " -map 0:v -c copy -f image2pipe -"),
        std::string(charsOf(test::tinyPng())));
}

TEST_F(UpdateID3TagTest, TheLargestPictureOfACallIsStored)
{
    constexpr std::size_t MaxArray = std::size_t { 64 } << 20; // of the bus
    test::ScratchFolder memory(test::memoryFolder());
    std::string path = memory.copy(fullFile(), "song.mp3");
    test::LogCapture log;
    std::vector<std::string> lines
        = update(path, { { MediaDBMusicColumnTitle, "new" }, { MediaDBMusicColumnAlbumArt, Bytes(MaxArray, 7) } });
    EXPECT_THAT(lines, IsSupersetOf({ "TIT2 enc=1 new", "TYER enc=0 1999" }));
    EXPECT_THAT(lines, Contains(StartsWith("APIC image/jpeg type=3 desc= 67108864:")));
    EXPECT_THAT(log.lines(), IsEmpty());
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "newer" } }), Contains("TIT2 enc=1 newer"));
}

TEST_F(UpdateID3TagTest, APictureTooLargeIsLeftOutAndEverythingElseWritten)
{
    test::LogCapture log;
    std::string path = fullFile();
    std::vector<std::string> lines
        = update(path, { { MediaDBMusicColumnTitle, "new" }, { MediaDBMusicColumnAlbumArt, Bytes(MaxTagBytes, 7) } });
    EXPECT_THAT(lines, Contains("TIT2 enc=1 new"));
    EXPECT_THAT(lines, Contains(StartsWith("APIC image/png type=3 desc= 11:"))) << "the old picture stays";
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("The picture is left out of " + path)));
}

TEST_F(UpdateID3TagTest, ATagIsWrittenUpToTheLimitAndReadBack)
{
    constexpr std::size_t Others = 19 + 10 + 14; // a title, and what stands before a picture
    test::ScratchFolder memory(test::memoryFolder());
    for (std::size_t over : { 0, 1 }) {
        Bytes picture(MaxTagBytes - Others + over, 7);
        std::string path = memory.write("song.mp3", test::mp3Audio());
        test::LogCapture log;
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(
            *EditableFile::at(path), { { MediaDBMusicColumnTitle, "one" }, { MediaDBMusicColumnAlbumArt, picture } }));
        EXPECT_EQ(log.lines().size(), over);
        auto input = InputFile::open(path);
        auto tags = readTags(*input);
        ASSERT_EQ(tags->prependedTags.size(), 1u);
        EXPECT_TRUE(tags->prependedTags[0].complete());
        EXPECT_EQ(tags->prependedTags[0].frames().size(), 2 - over);
    }
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
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(path), {}));
    EXPECT_EQ(test::readFile(path), test::mp3Audio());
}

TEST_F(UpdateID3TagTest, ASmallChangeKeepsTheFileSizeAndTheSameOneWritesNothing)
{
    std::string path = fullFile();
    update(path, Whole);
    std::size_t size = test::readFile(path).size();
    Record changed = Whole;
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

TEST_F(UpdateID3TagTest, WithoutAFileTheAnswerIsFalseAndNothingIsLogged)
{
    test::LogCapture log;
    EXPECT_FALSE(
        UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(Path()), { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_FALSE(UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(m_folder.file("missing.mp3")), {}));
    EXPECT_THAT(log.lines(), IsEmpty());
}

TEST_F(UpdateID3TagTest, AnUpdateThatFailsIsStillTrueAndLogged)
{
    test::LogCapture log;
    EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(
        *EditableFile::at(m_folder.path()), { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("not a regular file")));
}

TEST_F(UpdateID3TagTest, ANullTrackRaisesAndChangesNothing)
{
    std::string path = fullFile();
    Bytes before = test::readFile(path);
    try {
        UpdateID3Tag().updateTagWithDictionary(
            *EditableFile::at(path), { { MediaDBMusicColumnTrackNo, NullObject() } });
        ADD_FAILURE();
    } catch (const NSException& exception) {
        EXPECT_EQ(exception.name(), NSInvalidArgumentException);
    }
    EXPECT_EQ(test::readFile(path), before);
}

constexpr std::string_view WrittenKeys[]
    = { MediaDBMusicColumnTitle, MediaDBMusicColumnAlbum, MediaDBMusicColumnArtist, MediaDBCommonColumnReservedText,
          MediaDBMusicColumnComposer, MediaDBMusicColumnGenre, MediaDBMusicColumnTrackNo, MediaDBMusicColumnAlbumArt };

TEST_F(UpdateID3TagTest, ValuesOfOtherKindsLeaveTheirFieldsAndNeverStopTheRest)
{
    std::string original = fullFile();
    Bytes before = test::readFile(original);
    std::vector<std::string> framesBefore = test::mutagenLines("id3", original);
    Record record { { "Unknown", OtherKind {} } };
    for (std::string_view key : WrittenKeys)
        record.set(key, OtherKind {});
    EXPECT_THAT(update(original, record), UnorderedElementsAreArray(framesBefore));
    record.set(MediaDBMusicColumnTitle, 5);
    record.set(MediaDBMusicColumnGenre, 17);
    record.set(MediaDBMusicColumnTrackNo, Bytes { 1 });
    EXPECT_THAT(update(original, record), UnorderedElementsAreArray(framesBefore));
    for (std::string_view key : { MediaDBMusicColumnTitle, MediaDBMusicColumnArtist }) {
        Record one = record;
        one.set(key, "new");
        EXPECT_THAT(update(m_folder.write("song.mp3", before), one), Contains(HasSubstr("enc=1 new"))) << key;
        EXPECT_THAT(test::mutagenLines("id3", original), Contains(StartsWith("TCOM"))) << "not the artist's to remove";
    }
}

} // namespace
} // namespace mv
