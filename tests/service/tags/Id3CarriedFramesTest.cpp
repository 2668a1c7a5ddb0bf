// What an update takes over from the tags that are there, of any version and place, and what it leaves as it is.
#include "tests/service/tags/Id3FileTest.h"

#include "Base/Core/Text.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using test::latin1;
using testing::Contains;
using testing::ElementsAre;
using testing::HasSubstr;
using testing::IsSupersetOf;
using testing::StartsWith;

class Id3CarriedFramesTest : public Id3FileTest { };

int occurrences(const Bytes& content, std::string_view part)
{
    std::string_view chars = charsOf(content);
    int count = 0;
    for (auto at = chars.find(part); at != chars.npos; at = chars.find(part, at + 1))
        ++count;
    return count;
}

TEST_F(Id3CarriedFramesTest, AudioAndTagsAtTheEndKeepTheirBytes)
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

TEST_F(Id3CarriedFramesTest, WhatOnlyID3v1HasIsTakenOver)
{
    std::string path = file({}, test::id3v1Tag("v1 title", "1977", 5, 17));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TCON enc=0 (17)", "TIT2 enc=1 new", "TRCK enc=0 5", "TYER enc=0 1977", "version=2.3"));
    for (const char* noYear : { "", "0", "0000", "????" }) {
        path = file(test::id3Tag(3, { { "TRCK", latin1("3/12") } }), test::id3v1Tag("v1 title", noYear, 5, 255));
        EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
            ElementsAre("TIT2 enc=1 new", "TRCK enc=0 3/12", "version=2.3"));
    }
}

TEST_F(Id3CarriedFramesTest, AFooterThatIsNotThereCostsNoAudio)
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

TEST_F(Id3CarriedFramesTest, FramesOfATagAtTheEndAreTakenOverWhereThereIsNoneAtTheFront)
{
    Bytes appended = test::id3Tag(4, { { "TIT2", "\3old" }, { "TBPM", "\003120" } });
    appended[5] = 0x10; // has a footer
    Bytes footer(appended.begin(), appended.begin() + 10);
    std::copy_n("3DI", 3, footer.begin());
    Bytes after = test::joined({ appended, footer });
    std::string path = file({}, after);
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TBPM enc=0 120", "TIT2 enc=1 new", "version=2.3"));
    Bytes content = test::readFile(path);
    EXPECT_TRUE(std::equal(after.rbegin(), after.rend(), content.rbegin()));
}

TEST_F(Id3CarriedFramesTest, SeveralTagsAtTheFrontBecomeOne)
{
    Bytes tags = test::joined(
        { test::id3Tag(3, { { "TYER", latin1("1999") } }, 10), test::id3Tag(3, { { "TBPM", latin1("120") } }) });
    std::string path = file(tags);
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TBPM enc=0 120", "TIT2 enc=1 new", "TYER enc=0 1999", "version=2.3"));
}

TEST_F(Id3CarriedFramesTest, FramesOfAV23TagKeepTheirNamesAndBytes)
{
    const std::vector<test::RawFrame> kept = { { "TYER", latin1("1999") }, { "TDRC", latin1("2005-03-21") },
        { "TDOR", latin1("1998-01-01") }, { "TIPL", latin1("mix") + latin1("Ann") + latin1("") },
        { "TMCL", latin1("bass") + latin1("Bob") + latin1("") }, { "TXXX", "\3mood" + latin1("calm") + latin1("sad") },
        { std::string("TP4\0", 4), latin1("remix") }, { "TSOP", "\2\xFE" }, { "TBPM", "", 0xE000 } };
    std::vector<test::RawFrame> frames = kept;
    frames.insert(frames.begin() + 3, { "TIT2", latin1("old") });
    std::string path = file(test::id3Tag(3, frames), test::id3v1Tag("", "1977", 0, 255));
    update(path, { { MediaDBMusicColumnTitle, "new" } });
    Bytes content = test::readFile(path);
    for (const test::RawFrame& frame : kept) {
        std::string bytes(charsOf(test::id3Tag(3, { frame })).substr(10));
        EXPECT_EQ(occurrences(content, bytes), 1) << frame.id;
    }
    for (std::string_view name : { "TYER", "TORY", "IPLS", "TPE4" })
        EXPECT_EQ(occurrences(content, name), name == "TYER" ? 1 : 0) << name;
    EXPECT_THAT(test::mutagenLines("id3", path),
        IsSupersetOf({ "TIT2 enc=1 new", "TDRC enc=0 2005-03-21", "TYER enc=0 1999" }));
}

TEST_F(Id3CarriedFramesTest, TheYearOfID3v1IsNotAddedToATimestamp)
{
    std::string path = file(test::id3Tag(3, { { "TDRC", latin1("2005") } }), test::id3v1Tag("", "1977", 0, 255));
    EXPECT_THAT(update(path, {}), ElementsAre("TDRC enc=0 2005", "version=2.3"));
}

TEST_F(Id3CarriedFramesTest, V22NamesInAV23TagAreReplacedLikeThoseOfV23)
{
    auto name = [](const char* shortName) { return std::string(shortName, 4); };
    std::string path = file(test::id3Tag(3,
        { { name("TT2"), latin1("old") }, { "TP1 ", latin1("old") }, { name("COM"), latin1("eng") + latin1("old") },
            { name("TCO"), latin1("(9)") }, { name("TYE"), latin1("1999") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" }, { MediaDBMusicColumnGenre, "Rock" } }),
        ElementsAre("TCON enc=0 (17)", "TIT2 enc=1 new", "TYER enc=0 1999", "version=2.3"));
    Bytes content = test::readFile(path);
    EXPECT_EQ(occurrences(content, name("TYE")), 1);
    EXPECT_EQ(occurrences(content, "old"), 0);
}

TEST_F(Id3CarriedFramesTest, FramesWithOddNamesStayAndHideNoOther)
{
    const test::RawFrame odd { "Date", latin1("2005-03-21") };
    const std::string bytes(charsOf(test::id3Tag(3, { odd })).substr(10));
    const std::vector<test::RawFrame> others
        = { { "TIT2", latin1("old") }, { "TXXX", latin1("mood") + latin1("calm") }, { "TYER", latin1("1999") } };
    for (std::size_t place = 0; place <= others.size(); ++place) {
        for (std::size_t padding : { 0, 100 }) {
            std::vector<test::RawFrame> frames = others;
            frames.insert(frames.begin() + static_cast<std::ptrdiff_t>(place), odd);
            std::string path = file(test::id3Tag(3, frames, padding));
            EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
                ElementsAre("TIT2 enc=1 new", "TXXX mood=calm", "TYER enc=0 1999", "version=2.3"));
            std::string content(charsOf(test::readFile(path)));
            // Programs that stop at such a name have to find everything before it.
            EXPECT_EQ(occurrences(test::readFile(path), bytes), 1);
            for (const char* name : { "TIT2", "TXXX", "TYER" })
                EXPECT_LT(content.find(name), content.find(bytes)) << place;
            EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "newer" } }), Contains("TIT2 enc=1 newer"));
            EXPECT_EQ(occurrences(test::readFile(path), bytes), 1);
        }
    }
}

TEST_F(Id3CarriedFramesTest, AFrameThatLeadsNowhereKeepsTheFileFromBeingWritten)
{
    for (std::string name : { "Date", "TXXX" }) {
        Bytes tag = test::id3Tag(
            3, { { "TIT2", latin1("old") }, { name, latin1("mood") + latin1("calm") }, { "TYER", latin1("1999") } });
        constexpr std::size_t SizeOfSecond = 10 + 14 + 4;
        tag[SizeOfSecond] = 0x7F;
        std::string path = file(tag);
        Bytes before = test::readFile(path);
        test::LogCapture log;
        EXPECT_TRUE(
            UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(path), { { MediaDBMusicColumnTitle, "new" } }));
        EXPECT_EQ(test::readFile(path), before);
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("the present ID3v2 tag cannot be read whole")));
    }
}

TEST_F(Id3CarriedFramesTest, APackedCommentIsReplacedLikeAPlainOne)
{
    std::string plain = latin1("eng") + latin1("old");
    std::string described = latin1("eng") + "d" + latin1("kept");
    auto packed = [](const std::string& body) { return test::bigEndian(body.size()) + test::zlibPacked(body); };
    std::string path = file(test::id3Tag(3,
        { { "COMM", packed(plain), 0x0080 }, { "COMM", packed(described), 0x0080 }, { "COMM", "G" + plain, 0x0020 },
            { "COMM", "Gd" + described, 0x0020 } }));
    update(path, { { MediaDBCommonColumnReservedText, "new" } });
    Bytes content = test::readFile(path);
    EXPECT_EQ(occurrences(content, packed(described)), 1);
    EXPECT_EQ(occurrences(content, "Gd" + described), 1);
    EXPECT_EQ(occurrences(content, packed(plain)), 0);
    EXPECT_EQ(occurrences(content, "G" + plain), 0);
    EXPECT_EQ(occurrences(content, "COMM"), 3);
}

TEST_F(Id3CarriedFramesTest, ATagThatCannotBeReadWholeIsLeftAlone)
{
    Bytes future = test::id3Tag(3, { { "TIT2", latin1("old") } });
    future[3] = 5;
    Bytes cut = test::id3Tag(3, { { "TIT2", latin1("old") } });
    cut[6] = 1; // claims two megabytes
    for (const Bytes& tag : { future, cut }) {
        std::string path = file(tag);
        Bytes before = test::readFile(path);
        test::LogCapture log;
        EXPECT_TRUE(
            UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(path), { { MediaDBMusicColumnTitle, "new" } }));
        EXPECT_EQ(test::readFile(path), before);
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("the present ID3v2 tag cannot be read whole")));
    }
}

} // namespace
} // namespace mv
