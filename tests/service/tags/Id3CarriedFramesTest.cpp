// What an update takes over from the tags that are there, of any version and place, and what it leaves as it is.
#include "tests/service/tags/Id3FileTest.h"

#include "Base/Core/Text.h"
#include "tests/support/LogCapture.h"

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
    path = file(test::id3Tag(3, { { "TRCK", latin1("3/12") } }), test::id3v1Tag("v1 title", "", 5, 255));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TIT2 enc=1 new", "TRCK enc=0 3/12", "version=2.3"));
}

TEST_F(Id3CarriedFramesTest, AV22TagBecomesV23)
{
    std::string path = file(test::id3Tag(2,
        { { "TT2", latin1("old") }, { "TYE", latin1("1999") }, { "TXX", latin1("mood") + latin1("calm") },
            { "PIC", latin1("PNG\3") + latin1("picture") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        IsSupersetOf({ "TIT2 enc=1 new", "TYER enc=0 1999", "TXXX mood=calm", "version=2.3" }));
    EXPECT_THAT(test::mutagenLines("id3", path), Contains(StartsWith("APIC image/png type=3 desc= 7:")));
}

TEST_F(Id3CarriedFramesTest, AV24TagBecomesV23WithoutLosingItsDate)
{
    std::string path = file(test::id3Tag(4,
        { { "TIT2", "\3old" }, { "TDRC", "\0032005-03-21T10:20:30" }, { "TSOP", "\3Ärtist, The" },
            { "TXXX", "\3mood" + latin1("cälm") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TDAT enc=0 2103", "TIME enc=0 1020", "TIT2 enc=1 new", "TSOP enc=1 Ärtist, The", "TXXX mood=cälm",
            "TYER enc=1 2005", "version=2.3"));
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

TEST_F(Id3CarriedFramesTest, ChaptersOfAV24TagBecomeV23ToTheirInnerFrames)
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

TEST_F(Id3CarriedFramesTest, FramesOfATagAtTheEndAreTakenOverWhereThereIsNoneAtTheFront)
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

TEST_F(Id3CarriedFramesTest, SeveralTagsAtTheFrontBecomeOne)
{
    Bytes tags = test::joined(
        { test::id3Tag(3, { { "TYER", latin1("1999") } }, 10), test::id3Tag(3, { { "TBPM", latin1("120") } }) });
    std::string path = file(tags);
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TBPM enc=0 120", "TIT2 enc=1 new", "TYER enc=0 1999", "version=2.3"));
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
        EXPECT_TRUE(UpdateID3Tag().updateTagWithDictionary(path, { { MediaDBMusicColumnTitle, "new" } }));
        EXPECT_EQ(test::readFile(path), before);
        EXPECT_THAT(log.lines(), ElementsAre(HasSubstr("the present ID3v2 tag cannot be read whole")));
    }
}

} // namespace
} // namespace mv
