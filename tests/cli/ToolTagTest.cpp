// Tags, podcasts and the dump.
#include "tests/cli/ToolFixture.h"
#include "tests/support/Mp4Maker.h"

namespace mv::cli {
namespace {

using testing::HasSubstr;

TEST_F(ToolOnBus, TagsOfAnM4AFile)
{
    std::string song = made("a.m4a",
        "-f lavfi -i sine=duration=1 -metadata title=Old -metadata artist=Someone -metadata track=3/12 -c:a aac");
    Outcome dry = tool("tag --dry-run --title New " + song);
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_THAT(dry.out, HasSubstr("  title        Old                            -> New\n"));
    EXPECT_THAT(tool("tag " + song).out, HasSubstr("  title        Old                               Old\n"));
    Outcome changed = tool("tag --title 'Neuer Titel' --album 앨범 --art " + picture("c.png") + " " + song);
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_THAT(changed.out, HasSubstr("  title        Old                            -> Neuer Titel\n"));
    EXPECT_THAT(changed.out, HasSubstr("-> picture, 64 x 48, "));
    std::string described = tool("describe --json " + song).out;
    EXPECT_THAT(described, HasSubstr("\"Title\":\"Neuer Titel\""));
    EXPECT_THAT(described, HasSubstr("\"Album\":\"앨범\""));
    EXPECT_THAT(described, HasSubstr("\"Artist\":\"Someone\""));
    EXPECT_THAT(described, HasSubstr("\"TrackNo\":3"));
    // Another change leaves the cover alone; clearing takes it away.
    EXPECT_EQ(tool("tag --clear artist " + song).status, 0);
    EXPECT_THAT(tool("describe --json " + song).out, HasSubstr("\"AlbumArt\""));
    EXPECT_EQ(tool("tag --clear art " + song).status, 0);
    EXPECT_THAT(tool("describe --json " + song).out, testing::Not(HasSubstr("\"AlbumArt\"")));
    for (const char* words : { "tag --title x ", "tag --dry-run --title x " }) {
        Outcome refused = tool(words + picture("d.png"));
        EXPECT_EQ(refused.status, 1);
        EXPECT_THAT(refused.err, HasSubstr("Tags of \"d.png\" are not written"));
    }
}

TEST_F(ToolOnBus, TagsOfAnMP3FileKeepWhatIsNotNamed)
{
    if (!test::haveProgram("lame"))
        GTEST_SKIP() << "lame is not here";
    std::string song = m_folder.file("a.mp3");
    ASSERT_EQ(test::run("lame --quiet --add-id3v2 --tt Old --ta Someone --tl Sines --tc Remark --tn 3 --tg Ambient "
                  + tone("a.wav") + " " + test::shellQuoted(song)),
        0);
    Outcome changed = tool("tag --title 'Neuer Titel' --composer 작곡가 --art " + picture("c.png") + " " + song);
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_THAT(changed.out, HasSubstr("  title        Old                            -> Neuer Titel\n"));
    std::string described = tool("describe --json " + song).out;
    for (const char* field :
        { "\"Title\":\"Neuer Titel\"", "\"Artist\":\"Someone\"", "\"Album\":\"Sines\"", "\"ReservedText\":\"Remark\"",
            "\"Composer\":\"작곡가\"", "\"Genre\":\"Ambient\"", "\"TrackNo\":3", "\"AlbumArt\"" })
        EXPECT_THAT(described, HasSubstr(field));
    Outcome cleared = tool("tag --clear comment --clear art --genre Rock " + song);
    EXPECT_EQ(cleared.status, 0) << cleared.err;
    described = tool("describe --json " + song).out;
    for (const char* field : { "ReservedText", "AlbumArt" })
        EXPECT_THAT(described, testing::Not(HasSubstr(field)));
    for (const char* field : { "\"Title\":\"Neuer Titel\"", "\"Genre\":\"Rock\"", "\"TrackNo\":3" })
        EXPECT_THAT(described, HasSubstr(field));
}

// As many encoders write them.
TEST_F(ToolOnBus, APictureOfNoKindIsShownAsACoverAndStays)
{
    std::string song = tone("a.mp3");
    std::string script = "import sys; from mutagen.id3 import ID3, APIC; t=ID3(); "
                         "t.add(APIC(0, 'image/png', 0, '', open(sys.argv[2], 'rb').read())); t.save(sys.argv[1])";
    if (test::run("/usr/bin/python3 -c " + test::shellQuoted(script) + " " + song + " " + picture("c.png")) != 0)
        GTEST_SKIP() << "mutagen is not here";
    EXPECT_THAT(tool("tag " + song).out, HasSubstr("  cover        picture, 64 x 48, "));
    Outcome removed = tool("tag --remove cover --title T " + song);
    EXPECT_EQ(removed.status, 1);
    EXPECT_THAT(removed.err, HasSubstr("the file does not show the wish for: cover (its picture is of another kind"));
    EXPECT_THAT(removed.out, testing::AllOf(HasSubstr("-> T\n"), HasSubstr("picture, 64 x 48, ")));
    Outcome other = tool("tag --cover " + made("d.png", "-f lavfi -i testsrc=size=32x32 -frames:v 1") + " " + song);
    EXPECT_EQ(other.status, 0) << other.err;
    EXPECT_THAT(tool("tag " + song).out, HasSubstr("  cover        picture, 32 x 32, "));
}

TEST_F(ToolOnBus, WhereThereAreTwoCoversTheOtherIsShownWhenOneGoes)
{
    std::string song = tone("a.mp3");
    std::string script
        = "import sys; from mutagen.id3 import ID3, APIC; t=ID3(); "
          "[t.add(APIC(0, 'image/png', 3, d, open(p, 'rb').read())) for d, p in zip('ab', sys.argv[2:])]; "
          "t.save(sys.argv[1])";
    std::string other = made("d.png", "-f lavfi -i testsrc=size=32x32 -frames:v 1");
    if (test::run(
            "/usr/bin/python3 -c " + test::shellQuoted(script) + " " + song + " " + picture("c.png") + " " + other)
        != 0)
        GTEST_SKIP() << "mutagen is not here";
    Outcome removed = tool("tag --remove cover " + song);
    EXPECT_EQ(removed.status, 1);
    EXPECT_THAT(removed.err, HasSubstr("the file does not show the wish for: cover (the file has another one"));
    EXPECT_THAT(
        removed.out, testing::ContainsRegex("32 x 32, .*-> picture, 64 x 48, |64 x 48, .*-> picture, 32 x 32, "));
    Outcome last = tool("tag --remove cover " + song);
    EXPECT_EQ(last.status, 0) << last.err;
    EXPECT_THAT(last.out, testing::ContainsRegex("picture, .*-> -\n"));
}

// Both stores of a file with two lose their cover.
TEST_F(ToolOnBus, WhatIsLeftOfTheCoversIsSeenInTheFile)
{
    std::string song = made("a.flac", "-f lavfi -i sine=duration=1");
    std::string script
        = "import sys; from mutagen.flac import FLAC, Picture; from mutagen.id3 import ID3, APIC; "
          "b=open(sys.argv[2], 'rb').read(); f=FLAC(sys.argv[1]); p=Picture(); p.type=3; p.mime='image/png'; "
          "p.data=b; f.add_picture(p); f.save(); t=ID3(); t.add(APIC(0, 'image/png', 3, '', b)); "
          "t.save(sys.argv[1])";
    if (test::run("/usr/bin/python3 -c " + test::shellQuoted(script) + " " + song + " " + picture("c.png")) != 0)
        GTEST_SKIP() << "mutagen is not here";
    Outcome removed = tool("tag --remove cover " + song);
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_THAT(removed.out, testing::ContainsRegex("picture, .*-> -\n"));
    EXPECT_THAT(tool("tag " + song).out, testing::Not(HasSubstr("picture")));
}

TEST_F(ToolOnBus, PodcastsNameTheirEpisode)
{
    std::string song = m_folder.file("a.mp3");
    tone("a.mp3");
    std::string script = "from mutagen.id3 import ID3,TGID,WFED; t=ID3(); t.add(TGID(encoding=0,text='e-1')); "
                         "t.add(WFED(url='u://feed')); t.save('"
        + song + "',v2_version=3)";
    if (test::run("/usr/bin/python3 -c " + test::shellQuoted(script)) != 0)
        GTEST_SKIP() << "mutagen is not here";
    Outcome podcast = tool("podcast " + song);
    EXPECT_EQ(podcast.status, 0) << podcast.err;
    EXPECT_EQ(podcast.out, song + "\n  episode  e-1\n  channel  u://feed\n");
    EXPECT_EQ(tool("podcast --json " + song).out,
        "{\"path\":\"" + song + "\",\"episodeId\":\"e-1\",\"channelUrl\":\"u://feed\"}\n");
}

TEST_F(ToolOnBus, PodcastsOfOtherFilesAreNone)
{
    Outcome none = tool("podcast " + made("a.m4a", "-f lavfi -i sine=duration=1 -c:a aac"));
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("a.m4a: is no podcast episode"));
}

TEST_F(ToolOnBus, DumpPrintsTheTagsOfAnMP4File)
{
    std::string song = made("a.m4a", "-f lavfi -i sine=duration=1 -metadata title=Tone -fflags +bitexact -c:a aac");
    ASSERT_EQ(tool("tag --track 3/12 --art " + picture("c.png") + " " + song).status, 0);
    Outcome dump = tool("dump " + song);
    EXPECT_EQ(dump.status, 0) << dump.err;
    EXPECT_THAT(dump.out, testing::StartsWith("name: Tone\n"));
    EXPECT_THAT(dump.out, HasSubstr("\ntrack: index=3 total=12\n"));
    EXPECT_THAT(dump.out, testing::ContainsRegex("\nart\\[0\\]: JPEG picture, [0-9.]+ (kB|bytes)\n"));
    EXPECT_THAT(dump.out, testing::Not(HasSubstr("0x")));
    EXPECT_EQ(tool("dump " + song).out, dump.out);
    EXPECT_THAT(tool("dump --json " + song).out,
        testing::ContainsRegex("\\{\"path\":\".*a.m4a\",\"name\":\"Tone\",\"track\":\\{\"index\":3,\"total\":12\\},"
                               "\"art\":\\[\\{\"form\":\"JPEG\",\"bytes\":[0-9]+\\}\\]\\}\n"));
}

TEST_F(ToolOnBus, DumpPrintsAllValuesOfAField)
{
    Bytes artists = test::box("----",
        { test::fullBox("mean", 0, 0, { test::bytes("m") }), test::fullBox("name", 0, 0, { test::bytes("ARTISTS") }),
            test::dataBox(1, test::bytes("a")), test::dataBox(1, test::bytes("b")) });
    test::Mp4Spec spec;
    spec.items
        = test::joined({ artists, test::freeformItem("m", "ISRC", "X"), test::freeformItem("m", "ARTISTS", "c") });
    std::string song = m_folder.write("a.m4a", test::makeMp4(spec).bytes);
    EXPECT_EQ(tool("dump " + song).out, "m:ARTISTS: a\nm:ARTISTS: b\nm:ISRC: X\nm:ARTISTS: c\n");
    EXPECT_THAT(
        tool("dump --json " + song).out, testing::EndsWith("\"m:ARTISTS\":[\"a\",\"b\",\"c\"],\"m:ISRC\":\"X\"}\n"));
}

TEST_F(ToolOnBus, DumpOfNoMP4FileIsAFailure)
{
    std::string png = picture("a.png");
    Outcome none = tool("dump --json " + png);
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(
        none.out, "{\"path\":\"" + m_folder.file("a.png") + "\",\"error\":\"is no MPEG-4 file that can be read\"}\n");
    EXPECT_EQ(none.err, "mivo dump: " + m_folder.file("a.png") + ": is no MPEG-4 file that can be read\n");
}

TEST_F(ToolOnBus, DumpCannotCommandTheTerminal)
{
    std::string song = made("a.m4a",
        "-f lavfi -i sine=duration=1 -metadata title=\"$(printf 'a\\033[2Jb\\nc')\" -fflags +bitexact -c:a aac");
    EXPECT_THAT(tool("dump " + song).out, testing::StartsWith("name: a\\x1b[2Jb\\nc\n"));
}

TEST_F(ToolOnBus, ATrackMayHaveATotal)
{
    std::string m4a = made("a.m4a", "-f lavfi -i sine=duration=1 -metadata track=9/20 -c:a aac");
    std::string mp3 = made("a.mp3", "-f lavfi -i sine=duration=1 -metadata track=9/20 -metadata title=T");
    auto trackOf = [](const std::string& song) {
        return test::outputOf("ffprobe -loglevel error -show_entries format_tags=track -of csv=p=0 " + song);
    };
    for (const std::string& song : { m4a, mp3 }) {
        Outcome changed = tool("tag --track 3/12 " + song);
        EXPECT_EQ(changed.status, 0) << changed.err;
        EXPECT_THAT(changed.out, HasSubstr("  track        9/20                           -> 3/12\n"));
        EXPECT_EQ(trackOf(song), "3/12\n");
        // A number alone leaves a total that fits.
        EXPECT_EQ(tool("tag --track 4 " + song).status, 0);
        EXPECT_EQ(trackOf(song), "4/12\n");
    }
    EXPECT_EQ(tool("tag --disc 1/2 " + m4a).status, 0);
    EXPECT_EQ(test::outputOf("ffprobe -loglevel error -show_entries format_tags=disc -of csv=p=0 " + m4a), "1/2\n");
    // One that fits no more goes.
    EXPECT_EQ(tool("tag --track 13 " + mp3).status, 0);
    EXPECT_EQ(trackOf(mp3), "13\n");
    EXPECT_EQ(tool("tag --track 4/12 " + mp3).status, 0);
    EXPECT_EQ(tool("tag --clear track " + m4a).status, 0);
    EXPECT_EQ(trackOf(m4a), "\n");
    EXPECT_THAT(tool("tag --dry-run --track 5/6 " + mp3).out, HasSubstr("-> 5/6\n"));
    EXPECT_EQ(trackOf(mp3), "4/12\n");
    // Two names of one field are one.
    EXPECT_EQ(tool("tag --track 3/12 " + m4a).status, 0);
    EXPECT_EQ(tool("copy-tags --fields track,cover,art " + m4a + " " + mp3).status, 0);
    EXPECT_EQ(trackOf(mp3), "3/12\n");
    std::string twenty = made("b.m4a", "-f lavfi -i sine=duration=1 -metadata track=20 -c:a aac");
    EXPECT_EQ(tool("copy-tags --fields track " + twenty + " " + mp3).status, 0);
    EXPECT_EQ(trackOf(mp3), "20\n") << "of 12 there is no 20th";
    EXPECT_EQ(tool("tag --track '' " + twenty).status, 0);
    EXPECT_EQ(trackOf(twenty), "\n");
}

} // namespace
} // namespace mv::cli
