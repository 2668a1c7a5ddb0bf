// The MP4 writer, row by row and step by step, judged by what mutagen reads back.
#include "service/tags/UpdateMP4Tag.h"

#include "Base/Core/NSException.h"
#include "Base/Media/MediaDB.h"
#include "Base/Media/TagLimits.h"
#include "mp4/mp4.h"
#include "system/OpenedFile.h"
#include "tests/service/tags/TagFiles.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Mp4Edit.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <random>
#include <sys/stat.h>

namespace mv {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsEmpty;
using testing::IsSupersetOf;
using testing::Not;
using testing::StartsWith;
using testing::UnorderedElementsAreArray;

using Lines = std::vector<std::string>;

/// One quiet second of AAC; made once, since the encoder takes longer than the tests.
const Bytes& plainM4a()
{
    static const Bytes content = [] {
        test::ScratchFolder folder;
        std::string path = folder.file("plain.m4a");
        test::outputOf("ffmpeg -v error -f lavfi -i sine=d=1 -c:a aac -b:a 32k " + test::shellQuoted(path));
        return test::readFile(path);
    }();
    return content;
}

class UpdateMP4TagTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!test::haveProgram("ffmpeg"))
            GTEST_SKIP() << "ffmpeg is not installed";
        m_path = m_folder.write("song.m4a", plainM4a());
    }
    /// Tags written by mutagen: Python that sets items of `t`.
    void tagWithMutagen(const std::string& code)
    {
        test::outputOf("/usr/bin/python3 -c "
            + test::shellQuoted("import sys\nfrom mutagen.mp4 import *\nt = MP4(sys.argv[1])\n" + code + "\nt.save()")
            + " " + test::shellQuoted(m_path));
    }
    Lines update(const Record& record)
    {
        EXPECT_TRUE(UpdateMP4Tag().updateTagWithDictionary(*EditableFile::at(m_path), record));
        return lines();
    }
    Lines lines() const { return test::mutagenLines("mp4", m_path); }
    std::string audioHash() const
    {
        return test::outputOf("ffmpeg -v error -i " + test::shellQuoted(m_path) + " -map 0:a -f md5 -");
    }

    test::ScratchFolder m_folder;
    std::string m_path;
};

TEST_F(UpdateMP4TagTest, EveryRowIsWritten)
{
    std::string before = audioHash();
    EXPECT_THAT(update({ { MediaDBMusicColumnTitle, "Tïtle" }, { MediaDBMusicColumnAlbum, "앨범" },
                    { MediaDBMusicColumnArtist, "Ärtist \U0001F600" }, { MediaDBMusicColumnAlbumArtist, "Various" },
                    { MediaDBMusicColumnComposer, "Cömposer" }, { MediaDBMusicColumnGenre, "Rock" },
                    { MediaDBMusicColumnDateReleased, "2005-03-21 or so" }, { MediaDBMusicColumnTrackNo, 7 },
                    { MediaDBMusicColumnDiscNo, 2 }, { MediaDBMusicColumnAlbumArt, test::tinyPng() } }),
        IsSupersetOf({ "\u00A9nam=Tïtle", "\u00A9alb=앨범", "\u00A9ART=Ärtist \U0001F600", "aART=Various",
            "\u00A9wrt=Cömposer", "\u00A9gen=Rock", "\u00A9day=2005-03-21 or so", "trkn=(7, 7)", "disk=(2, 2)" }));
    EXPECT_EQ(audioHash(), before);
}

TEST_F(UpdateMP4TagTest, FieldsThatTheRecordLacksOrNullsStay)
{
    tagWithMutagen("t['\\xa9nam']='old'; t['\\xa9cmt']='comment'; t['tmpo']=[120]; "
                   "t['----:com.apple.iTunes:ISRC']=b'XX12'; t['\\xa9gen']='Jazz'");
    Lines before = lines();
    EXPECT_THAT(update({ { MediaDBMusicColumnTitle, NullObject() } }), before);
    EXPECT_THAT(update({ { MediaDBMusicColumnAlbum, "new" } }),
        IsSupersetOf({ "\u00A9nam=old", "\u00A9alb=new", "\u00A9cmt=comment", "tmpo=120", "\u00A9gen=Jazz",
            "----:com.apple.iTunes:ISRC=XX12" }));
}

/// A file with the genre by number that mutagen cannot write, in front of whatever else says one.
class GenreTest : public UpdateMP4TagTest {
protected:
    void numberGenre(std::uint16_t number, const std::string& text = {})
    {
        auto outcome = test::editTags(m_path, [&](MP4Tags& tags) {
            MP4TagsSetGenreType(tags, number);
            if (!text.empty())
                MP4TagsSetGenre(tags, text);
        });
        ASSERT_TRUE(outcome.ok());
    }
    std::optional<std::uint16_t> numberInFile() const
    {
        auto file = MP4Read(OpenedFile::at(m_path).content());
        return tagsFromItems(file->items()).genreType;
    }
    /// What each of three programs shows, blanks at the end left out.
    void expectEverybodyShows(const std::string& genre) const
    {
        EXPECT_THAT(lines(), Contains("\u00A9gen=" + genre));
        EXPECT_EQ(
            test::outputOf("ffprobe -v error -show_entries format_tags=genre -of csv=p=0 " + m_path), genre + "\n");
        if (test::haveProgram("exiftool")) {
            EXPECT_EQ(test::outputOf("exiftool -a -s3 -Genre " + m_path), genre + "\n");
        }
    }
};

TEST_F(GenreTest, ANumberThatSaysSomethingElseGoes)
{
    for (std::uint16_t number : { 18, 150, 0, 65535 }) {
        numberGenre(number, "Pop");
        update({ { MediaDBMusicColumnGenre, "Jazz" } });
        EXPECT_EQ(numberInFile(), std::nullopt) << number;
        expectEverybodyShows("Jazz");
    }
    numberGenre(18); // without a text
    update({ { MediaDBMusicColumnGenre, "My own" } });
    EXPECT_EQ(numberInFile(), std::nullopt);
    expectEverybodyShows("My own");
    numberGenre(18); // beside the text that the update writes once more
    update({ { MediaDBMusicColumnGenre, "My own" } });
    EXPECT_EQ(numberInFile(), std::nullopt);
    numberGenre(18);
    update({ { MediaDBMusicColumnGenre, "" } });
    EXPECT_EQ(numberInFile(), std::nullopt);
}

TEST_F(GenreTest, ANumberThatSaysTheSameStays)
{
    numberGenre(18);
    update({ { MediaDBMusicColumnGenre, "Rock" } });
    EXPECT_EQ(numberInFile(), 18);
    EXPECT_EQ(test::outputOf("ffprobe -v error -show_entries format_tags=genre -of csv=p=0 " + m_path), "Rock\n");
}

TEST_F(GenreTest, ANumberStaysWhereTheRecordSaysNoGenre)
{
    numberGenre(18);
    update({ { MediaDBMusicColumnTitle, "title" } });
    update({ { MediaDBMusicColumnGenre, NullObject() } });
    EXPECT_EQ(numberInFile(), 18);
}

TEST_F(UpdateMP4TagTest, AGreaterTotalStays)
{
    tagWithMutagen("t['trkn']=[(3,12)]; t['disk']=[(1,4)]");
    EXPECT_THAT(update({ { MediaDBMusicColumnTrackNo, 5 }, { MediaDBMusicColumnDiscNo, 3 } }),
        IsSupersetOf({ "trkn=(5, 12)", "disk=(3, 4)" }));
    EXPECT_THAT(update({ { MediaDBMusicColumnTrackNo, 12 }, { MediaDBMusicColumnDiscNo, 4 } }),
        IsSupersetOf({ "trkn=(12, 12)", "disk=(4, 4)" }));
    EXPECT_THAT(update({ { MediaDBMusicColumnTrackNo, 15 }, { MediaDBMusicColumnDiscNo, 5 } }),
        IsSupersetOf({ "trkn=(15, 15)", "disk=(5, 5)" }));
}

TEST_F(UpdateMP4TagTest, NumbersAreCutTo16BitsAndReadFromTexts)
{
    EXPECT_THAT(update({ { MediaDBMusicColumnTrackNo, 65536 + 9 } }), Contains("trkn=(9, 9)"));
    EXPECT_THAT(update({ { MediaDBMusicColumnTrackNo, "8/20" } }), Contains("trkn=(8, 9)"));
}

TEST_F(UpdateMP4TagTest, NullNumbersRaiseAndChangeNothing)
{
    for (std::string_view key : { MediaDBMusicColumnTrackNo, MediaDBMusicColumnDiscNo })
        EXPECT_THROW(
            UpdateMP4Tag().updateTagWithDictionary(*EditableFile::at(m_path), { { key, NullObject() } }), NSException);
    EXPECT_EQ(test::readFile(m_path), plainM4a());
}

TEST_F(UpdateMP4TagTest, ValuesOfOtherKindsLeaveTheirFieldsAndNeverStopTheRest)
{
    tagWithMutagen("t['\\xa9nam']='old'; t['\\xa9ART']='old'; t['aART']='old'; t['\\xa9wrt']='old'; "
                   "t['\\xa9gen']='Jazz'; t['\\xa9day']='1999'; t['trkn']=[(3,12)]; t['disk']=[(1,4)]");
    Lines before = lines();
    Record record { { MediaDBMusicColumnAlbum, "new" }, { "Unknown", OtherKind {} } };
    for (std::string_view key : { MediaDBMusicColumnTitle, MediaDBMusicColumnArtist, MediaDBMusicColumnAlbumArtist,
             MediaDBMusicColumnComposer, MediaDBMusicColumnGenre, MediaDBMusicColumnDateReleased,
             MediaDBMusicColumnTrackNo, MediaDBMusicColumnDiscNo, MediaDBMusicColumnAlbumArt })
        record.set(key, OtherKind {});
    Lines expected = before;
    expected.push_back("\u00A9alb=new");
    EXPECT_THAT(update(record), UnorderedElementsAreArray(expected));
    record.set(MediaDBMusicColumnTitle, 5);
    record.set(MediaDBMusicColumnTrackNo, Bytes { 1 });
    EXPECT_THAT(update(record), UnorderedElementsAreArray(expected));
}

TEST_F(UpdateMP4TagTest, APictureOfAnyFormatBecomesAJpegCover)
{
    for (const Bytes& picture : { test::tinyPng(), test::tinyJpeg() }) {
        m_folder.write("song.m4a", plainM4a());
        EXPECT_THAT(update({ { MediaDBMusicColumnAlbumArt, picture } }), Contains(StartsWith("covr 13 ")));
        std::string cover
            = test::outputOf("ffmpeg -v error -i " + test::shellQuoted(m_path) + " -map 0:v -c copy -f image2pipe -");
        EXPECT_THAT(cover, StartsWith("\xFF\xD8\xFF"));
        EXPECT_EQ(
            test::outputOf("ffprobe -v error -select_streams v -show_entries stream=codec_name,width,height -of csv "
                + test::shellQuoted(m_path)),
            "stream,mjpeg,8,8\n");
    }
}

class CoverTest : public UpdateMP4TagTest {
protected:
    void SetUp() override
    {
        UpdateMP4TagTest::SetUp();
        if (!IsSkipped())
            tagWithMutagen("t['covr']=[MP4Cover(b'first cover',MP4Cover.FORMAT_PNG),MP4Cover(b'second one')]");
    }
};

/// Covers only: ffmpeg's own items do not matter here.
Lines covers(const Lines& lines)
{
    Lines found;
    std::copy_if(lines.begin(), lines.end(), std::back_inserter(found),
        [](const std::string& line) { return line.starts_with("covr"); });
    return found;
}

TEST_F(CoverTest, AMissingOrNullPictureDeletesTheFirstCover)
{
    EXPECT_THAT(covers(update({ { MediaDBMusicColumnTitle, "t" } })), ElementsAre(StartsWith("covr 13 10:")));
    EXPECT_THAT(covers(update({ { MediaDBMusicColumnAlbumArt, NullObject() } })), IsEmpty());
    EXPECT_THAT(covers(update({ { MediaDBMusicColumnAlbumArt, NullObject() } })), IsEmpty());
}

TEST_F(CoverTest, APictureReplacesTheFirstCover)
{
    EXPECT_THAT(covers(update({ { MediaDBMusicColumnAlbumArt, test::tinyPng() } })),
        testing::UnorderedElementsAre(StartsWith("covr 13 10:"), Not(StartsWith("covr 13 10:"))));
}

TEST_F(CoverTest, WhatIsNoPictureLeavesTheCovers)
{
    Lines before = covers(lines());
    ASSERT_EQ(before.size(), 2u);
    EXPECT_EQ(covers(update({ { MediaDBMusicColumnAlbumArt, "text" } })), before);
    EXPECT_EQ(covers(update({ { MediaDBMusicColumnAlbumArt, 5 } })), before);
    EXPECT_EQ(covers(update({ { MediaDBMusicColumnAlbumArt, Bytes { 1, 2, 3 } } })), before);
    EXPECT_EQ(covers(update({ { MediaDBMusicColumnAlbumArt, Bytes {} } })), before);
}

TEST_F(UpdateMP4TagTest, TheSameRecordTwiceWritesOnce)
{
    Record record { { MediaDBMusicColumnTitle, "t" }, { MediaDBMusicColumnAlbumArt, test::tinyPng() } };
    update(record);
    struct stat before { };
    stat(m_path.c_str(), &before);
    update(record);
    struct stat after { };
    stat(m_path.c_str(), &after);
    EXPECT_EQ(before.st_ino, after.st_ino);
}

TEST_F(UpdateMP4TagTest, AFileThatCannotBeOpenedIsFalseAndLogged)
{
    std::string text = m_folder.write("text.m4a", std::string_view("no movie at all"));
    for (const std::string& path : { m_folder.file("missing.m4a"), m_folder.path(), text }) {
        test::LogCapture log;
        EXPECT_FALSE(
            UpdateMP4Tag().updateTagWithDictionary(*EditableFile::at(path), { { MediaDBMusicColumnTitle, "t" } }));
        EXPECT_THAT(log.lines(), ElementsAre("MP4Tag file open fail " + path));
    }
    test::LogCapture log;
    EXPECT_FALSE(UpdateMP4Tag().updateTagWithDictionary(*EditableFile::at(Path()), {}));
    EXPECT_THAT(log.lines(), ElementsAre("MP4Tag file open fail (null)"));
}

class MP4PodcastInfoTest : public UpdateMP4TagTest {
protected:
    std::optional<Record> info(const std::string& url, const std::string& id)
    {
        m_folder.write("song.m4a", plainM4a());
        tagWithMutagen("t['purl']=[" + url + "]; t['egid']=[" + id + "]");
        breakMarkedText();
        m_log.emplace();
        auto result = UpdateMP4Tag().podcastInfo(OpenedFile::at(m_path));
        m_lines = m_log->lines();
        m_log.reset();
        return result;
    }
    /// mutagen writes valid text only: "BROKEN" becomes six bytes that are none.
    void breakMarkedText()
    {
        Bytes content = test::readFile(m_path);
        ByteView mark = bytesOf("BROKEN");
        auto place = std::search(content.begin(), content.end(), mark.begin(), mark.end());
        if (place == content.end())
            return;
        std::fill_n(place, mark.size(), std::uint8_t { 0xFF });
        m_folder.write("song.m4a", content);
    }
    static Record both(const std::string& url, const std::string& id)
    {
        return { { kMediaTagPodcastEpisodeId, id }, { kMediaTagPodcastChannelUrl, url } };
    }
    auto noInfoLine() const { return ElementsAre("MP4Tag no podcast info " + m_path); }

    std::optional<test::LogCapture> m_log;
    Lines m_lines;
};

TEST_F(MP4PodcastInfoTest, BothItemsGiveBothKeys)
{
    EXPECT_EQ(info("'http://f'", "'ep-7'"), both("http://f", "ep-7"));
    EXPECT_THAT(m_lines, IsEmpty());
}

TEST_F(MP4PodcastInfoTest, ValuesHaveOneTo1999Bytes)
{
    EXPECT_EQ(info("'u'*1999", "'e'"), both(std::string(1999, 'u'), "e"));
    EXPECT_EQ(info("'u'*2000", "'e'"), std::nullopt);
    EXPECT_THAT(m_lines, noInfoLine());
    EXPECT_EQ(info("''", "'e'"), std::nullopt);
    EXPECT_THAT(m_lines, noInfoLine());
    EXPECT_EQ(info("'u'", "'e'*2000"), std::nullopt);
    EXPECT_THAT(m_lines, noInfoLine());
}

TEST_F(MP4PodcastInfoTest, TextThatIsNotUtf8CountsAsMissing)
{
    EXPECT_EQ(info("'BROKEN'", "'e'"), std::nullopt);
    EXPECT_THAT(m_lines, noInfoLine());
}

TEST_F(MP4PodcastInfoTest, AMissingItemGivesNilAndALine)
{
    tagWithMutagen("t['purl']=['http://f']");
    test::LogCapture log;
    EXPECT_EQ(UpdateMP4Tag().podcastInfo(OpenedFile::at(m_path)), std::nullopt);
    EXPECT_THAT(log.lines(), ElementsAre("MP4Tag no podcast info " + m_path));
}

TEST_F(MP4PodcastInfoTest, AFileThatCannotBeOpenedGivesNilAndALine)
{
    std::string missing = m_folder.file("missing.m4a");
    test::LogCapture log;
    EXPECT_EQ(UpdateMP4Tag().podcastInfo(OpenedFile::at(missing)), std::nullopt);
    EXPECT_EQ(UpdateMP4Tag().podcastInfo(OpenedFile::at(Path())), std::nullopt);
    EXPECT_THAT(log.lines(), ElementsAre("MP4Tag file open fail " + missing, "MP4Tag file open fail (null)"));
}

/// A bitmap of noise, whose JPEG is hardly smaller.
Bytes noisePicture(std::uint32_t side)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    constexpr std::uint32_t HeaderSize = 54;
    writer.text("BM");
    for (std::uint32_t field : { HeaderSize + side * side * 3, 0U, HeaderSize, 40U, side, side })
        writer.u32le(field);
    writer.u16le(1);
    writer.u16le(24);
    writer.zeros(24);
    std::mt19937 random(1);
    for (std::uint32_t i = 0; i < side * side * 3; ++i)
        writer.u8(static_cast<std::uint8_t>(random()));
    return bytes;
}

TEST_F(UpdateMP4TagTest, APictureTooLargeIsLeftOutAndEverythingElseWritten)
{
    test::ScratchFolder memory(test::memoryFolder());
    m_path = memory.write("song.m4a", plainM4a());
    std::string rest = std::to_string(MaxTagBytes - 100'000);
    tagWithMutagen("t['----:org.example:large'] = [MP4FreeForm(bytes(" + rest + "))]\nt['covr'] = [MP4Cover(b'old')]");
    test::LogCapture log;
    Lines lines = update({ { MediaDBMusicColumnTitle, "new" }, { MediaDBMusicColumnAlbumArt, noisePicture(1024) } });
    EXPECT_THAT(lines, Contains("\u00A9nam=new"));
    EXPECT_THAT(lines, Contains(StartsWith("covr 13 3:"))) << "the old picture stays";
    EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("The picture is left out of " + m_path)));
}

} // namespace
} // namespace mv
