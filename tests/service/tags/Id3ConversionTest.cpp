// Tags of versions 2.2 and 2.4, which an update turns into version 2.3: what other programs read then.
#include "tests/service/tags/Id3FileTest.h"

#include "Base/Core/Text.h"
#include "tests/support/Mp3Maker.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using test::latin1;
using testing::Contains;
using testing::ElementsAre;
using testing::IsSupersetOf;
using testing::StartsWith;

class Id3ConversionTest : public Id3FileTest {
protected:
    /// The lines of such a tag's file after a title was set.
    std::vector<std::string> converted(int version, const std::vector<test::RawFrame>& frames)
    {
        return update(file(test::id3Tag(version, frames)), { { MediaDBMusicColumnTitle, "new" } });
    }
    /// The pairs of the only list of people that mutagen finds.
    std::string people()
    {
        return test::outputOf("/usr/bin/python3 -c "
            + test::shellQuoted("import sys\nfrom mutagen.id3 import ID3\n"
                                "lists = ID3(sys.argv[1], translate=False).getall('IPLS')\n"
                                "print(len(lists), *('='.join(pair) for list in lists for pair in list.people))")
            + " " + test::shellQuoted(m_folder.file("song.mp3")));
    }
};

TEST_F(Id3ConversionTest, AV22TagBecomesV23)
{
    std::string path = file(test::id3Tag(2,
        { { "TT2", latin1("old") }, { "TYE", latin1("1999") }, { "TXX", latin1("mood") + latin1("calm") },
            { "PIC", latin1("PNG\3") + latin1("picture") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        IsSupersetOf({ "TIT2 enc=1 new", "TYER enc=0 1999", "TXXX mood=calm", "version=2.3" }));
    EXPECT_THAT(test::mutagenLines("id3", path), Contains(StartsWith("APIC image/png type=3 desc= 7:")));
}

TEST_F(Id3ConversionTest, AV24TagBecomesV23WithoutLosingItsDate)
{
    std::string path = file(test::id3Tag(4,
        { { "TIT2", "\3old" }, { "TDRC", "\0032005-03-21T10:20:30" }, { "TSOP", "\3Ärtist, The" },
            { "TXXX", "\3mood" + latin1("cälm") } }));
    EXPECT_THAT(update(path, { { MediaDBMusicColumnTitle, "new" } }),
        ElementsAre("TDAT enc=0 2103", "TIME enc=0 1020", "TIT2 enc=1 new", "TSOP enc=1 Ärtist, The", "TXXX mood=cälm",
            "TYER enc=0 2005", "version=2.3"));
}

TEST_F(Id3ConversionTest, ADateIsWrittenOnceAndTheTimestampGoesBeforeTheOldFrames)
{
    const test::RawFrame stamp { "TDRC", "\0032005-03-21T10:20:30" };
    const std::vector<test::RawFrame> old
        = { { "TYER", latin1("1999") }, { "TDAT", latin1("0101") }, { "TIME", latin1("0102") } };
    for (bool first : { true, false }) {
        std::vector<test::RawFrame> frames = old;
        frames.insert(first ? frames.begin() : frames.end(), stamp);
        EXPECT_THAT(converted(4, frames),
            ElementsAre("TDAT enc=0 2103", "TIME enc=0 1020", "TIT2 enc=1 new", "TYER enc=0 2005", "version=2.3"));
        std::string content(charsOf(test::readFile(m_folder.file("song.mp3"))));
        for (const char* name : { "TYER", "TDAT", "TIME" })
            EXPECT_EQ(content.find(name), content.rfind(name)) << name;
    }
}

TEST_F(Id3ConversionTest, WhatATimestampLeavesOpenComesFromTheOldFramesOfItsYear)
{
    EXPECT_THAT(converted(4, { { "TDRC", "\0032005" }, { "TYER", latin1("2005") }, { "TDAT", latin1("2103") } }),
        ElementsAre("TDAT enc=0 2103", "TIT2 enc=1 new", "TYER enc=0 2005", "version=2.3"));
    EXPECT_THAT(converted(4, { { "TDRC", "\0032005" }, { "TYER", latin1("1999") }, { "TDAT", latin1("2103") } }),
        ElementsAre("TIT2 enc=1 new", "TYER enc=0 2005", "version=2.3"));
    EXPECT_THAT(converted(4, { { "TYER", latin1("1999") }, { "TYER", latin1("2000") }, { "TDAT", latin1("2103") } }),
        ElementsAre("TDAT enc=0 2103", "TIT2 enc=1 new", "TYER enc=0 2000", "version=2.3"));
    EXPECT_THAT(converted(4, { { "TDRC", "\003Oct 3rd" } }),
        ElementsAre("TIT2 enc=1 new", "TYER enc=0 Oct 3rd", "version=2.3"));
    EXPECT_THAT(converted(4, { { "TDOR", "\0031998-01-01" }, { "TORY", latin1("1997") } }),
        ElementsAre("TIT2 enc=1 new", "TORY enc=0 1998", "version=2.3"));
}

TEST_F(Id3ConversionTest, TimestampsWithABlankForTheTKeepTheirTime)
{
    EXPECT_THAT(converted(4, { { "TDRC", "\0032005-03-21 10:20:30" } }),
        ElementsAre("TDAT enc=0 2103", "TIME enc=0 1020", "TIT2 enc=1 new", "TYER enc=0 2005", "version=2.3"));
}

TEST_F(Id3ConversionTest, PackedTimestampsAreDatesToo)
{
    std::string stamp = "\0032005-03-21T10:20:30";
    std::string packed = test::syncsafe(static_cast<std::uint32_t>(stamp.size())) + test::zlibPacked(stamp);
    EXPECT_THAT(converted(4, { { "TDRC", packed, 0x0009 } }),
        IsSupersetOf({ "TDAT enc=0 2103", "TIME enc=0 1020", "TYER enc=0 2005" }));
}

TEST_F(Id3ConversionTest, PeopleComeIntoOneList)
{
    std::string producer = "\3mix" + latin1("Ann") + latin1("producer") + latin1("Émile") + latin1("");
    std::string musicians = latin1("bass") + latin1("Bob");
    std::string old = latin1("mix") + latin1("Ann") + latin1("lights") + latin1("Eve");
    converted(4, { { "TIPL", producer }, { "TMCL", musicians }, { "IPLS", old } });
    EXPECT_EQ(people(), "1 mix=Ann producer=Émile bass=Bob lights=Eve\n");
    converted(
        4, { { "TMCL", latin1("bass") + latin1("Bob") + latin1("drums") }, { "TIPL", latin1("mix") + latin1("Ann") } });
    EXPECT_EQ(people(), "1 bass=Bob drums= mix=Ann\n") << "a list that ends within a pair";
    std::string korean = latin1("mix") + latin1("\xB0\xA1");
    converted(4, { { "TIPL", korean }, { "TMCL", musicians } });
    EXPECT_NE(std::string(charsOf(test::readFile(m_folder.file("song.mp3"))))
                  .find("\xB0\xA1" + musicians.insert(0, 1, '\0').substr(1)),
        std::string::npos)
        << "bytes of another code page stay";
}

TEST_F(Id3ConversionTest, SeveralTagsAtTheFrontHaveOneDateAndOneList)
{
    Bytes older = test::id3Tag(
        4, { { "TDRC", "\0032005-03-21" }, { "TDOR", "\0031990" }, { "TIPL", "\3mix" + latin1("Ann") } });
    Bytes newer
        = test::id3Tag(3, { { "TYER", latin1("2006") }, { "IPLS", latin1("bass") + latin1("Bob") + latin1("") } });
    EXPECT_THAT(update(file(test::joined({ older, newer })), { { MediaDBMusicColumnTitle, "new" } }),
        IsSupersetOf({ "TYER enc=0 2006", "TORY enc=0 1990" }));
    EXPECT_EQ(people(), "1 mix=Ann bass=Bob\n");
    EXPECT_THAT(update(file(test::joined({ newer, older })), { { MediaDBMusicColumnTitle, "new" } }),
        IsSupersetOf({ "TYER enc=0 2005", "TDAT enc=0 2103" }));
    EXPECT_EQ(people(), "1 bass=Bob mix=Ann\n");
}

TEST_F(Id3ConversionTest, SeveralValuesAreJoined)
{
    std::string wide = "\1" + test::MarkLE + test::utf16LE("key") + test::zeroed("\0\0") + test::MarkLE + "\xE9"
        + test::zeroed("\0\0\0") + test::MarkLE + test::utf16LE("two");
    EXPECT_THAT(converted(4,
                    { { "TXXX", "\3mood" + latin1("calm") + latin1("sad") }, { "TXXX", wide },
                        { "TCON", "\00317" + latin1("Mine") + latin1("18") }, { "TENC", "\3A" + latin1("B") } }),
        IsSupersetOf({ "TXXX mood=calm/sad", "TXXX key=é/two", "TCON enc=0 (17)(18)Mine", "TENC enc=0 A/B" }));
}

TEST_F(Id3ConversionTest, ThePodcastsIdentifiersCanStillBeRead)
{
    Record both { { kMediaTagPodcastEpisodeId, "episode-12" }, { kMediaTagPodcastChannelUrl, "http://example.com/f" } };
    for (const std::string& id : { std::string("\3episode-12"), "\1" + test::MarkLE + test::utf16LE("episode-12") }) {
        converted(4, { { "TGID", id }, { "WFED", latin1("http://example.com/f") } });
        EXPECT_EQ(UpdateID3Tag().podcastInfo(OpenedFile::at(m_folder.file("song.mp3"))), both);
    }
}

TEST_F(Id3ConversionTest, FramesOfV22ThatHaveOtherNamesInV23)
{
    std::string volume = test::zeroed("\3\x10\0\1\0\2\0\3\0\4");
    std::string equalisation = test::zeroed("\x10\x80\x64\0\1");
    converted(2,
        { { "RVA", volume }, { "EQU", equalisation }, { "LNK", "TT2http://x" + latin1("more") },
            { "LNK", "XYZhttp://unknown" }, { "CRM", "owner" + latin1("why") + latin1("secret") } });
    std::string content(charsOf(test::readFile(m_folder.file("song.mp3"))));
    for (const test::RawFrame& frame : { test::RawFrame { "RVAD", volume }, test::RawFrame { "EQUA", equalisation },
             test::RawFrame { "LINK", "TIT2http://x" + latin1("more") } })
        EXPECT_NE(content.find(charsOf(test::id3Tag(3, { frame })).substr(10)), content.npos) << frame.id;
    EXPECT_EQ(content.find("unknown"), content.npos);
    EXPECT_EQ(content.find("secret"), content.npos);
}

TEST_F(Id3ConversionTest, EncryptedFramesStayEncrypted)
{
    converted(4, { { "PRIV", "Gmsecret", 0x0044 }, { "TENC", "\3x" } });
    std::string content(charsOf(test::readFile(m_folder.file("song.mp3"))));
    EXPECT_NE(content.find(charsOf(test::id3Tag(3, { { "PRIV", "mGsecret", 0x0060 } })).substr(10)), content.npos);
}

TEST_F(Id3ConversionTest, ChaptersOfAV24TagBecomeV23ToTheirInnerFrames)
{
    std::string title(200, 't'); // in v2.4 its size is written otherwise
    std::string inner(charsOf(test::id3Tag(4, { { "TIT2", "\3\u00E4" + title } })).substr(10));
    std::string chapter = latin1("").insert(0, "ch1") + std::string(16, '\1') + inner;
    std::string contents = std::string("toc\0\3\1ch1\0", 10) + inner;
    std::string path = file(test::id3Tag(4, { { "CHAP", chapter }, { "CTOC", contents } }));
    EXPECT_TRUE(
        UpdateID3Tag().updateTagWithDictionary(*EditableFile::at(path), { { MediaDBMusicColumnTitle, "new" } }));
    EXPECT_EQ(test::outputOf("/usr/bin/python3 -c "
                  + test::shellQuoted(
                      "import sys\nfrom mutagen.id3 import ID3\n"
                      "t = ID3(sys.argv[1], translate=False)\n"
                      "for f in t.getall('CHAP') + t.getall('CTOC'): print(f.element_id, *f.sub_frames['TIT2'].text)")
                  + " " + test::shellQuoted(path)),
        "ch1 \u00E4" + title + "\ntoc \u00E4" + title + "\n");
}

} // namespace
} // namespace mv
