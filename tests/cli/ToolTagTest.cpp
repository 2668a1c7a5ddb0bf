// Tags, podcasts and the dump.
#include "tests/cli/ToolFixture.h"

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
    EXPECT_THAT(changed.out, HasSubstr("-> picture, 200 x 200, "));
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
    EXPECT_THAT(tool("tag --title x " + picture("d.png")).err,
        HasSubstr("only MP3 and M4A files have tags that the service writes"));
}

TEST_F(ToolOnBus, TagsOfAnMP3FileKeepWhatIsNotNamed)
{
    if (!test::haveProgram("lame"))
        GTEST_SKIP() << "lame is not here";
    std::string song = m_folder.file("a.mp3");
    ASSERT_EQ(test::run("lame --quiet --add-id3v2 --tt Old --ta Someone --tl Sines --tc Remark --tn 3 --tg Ambient "
                  + tone("a.wav") + " " + test::quoted(song)),
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
    EXPECT_THAT(tool("tag --disc 1 " + song).err, HasSubstr("the service writes no disc into MP3 files"));
}

TEST_F(ToolOnBus, PodcastsNameTheirEpisode)
{
    std::string song = m_folder.file("a.mp3");
    tone("a.mp3");
    std::string script = "from mutagen.id3 import ID3,TGID,WFED; t=ID3(); t.add(TGID(encoding=0,text='e-1')); "
                         "t.add(WFED(url='u://feed')); t.save('"
        + song + "',v2_version=3)";
    if (test::run("/usr/bin/python3 -c " + test::quoted(script)) != 0)
        GTEST_SKIP() << "mutagen is not here";
    Outcome podcast = tool("podcast " + song);
    EXPECT_EQ(podcast.status, 0) << podcast.err;
    EXPECT_EQ(podcast.out, song + "\n  episode  e-1\n  channel  u://feed\n");
    EXPECT_EQ(tool("podcast --json " + song).out,
        "{\"file\":\"" + song + "\",\"episodeId\":\"e-1\",\"channelUrl\":\"u://feed\"}\n");
}

TEST_F(ToolOnBus, PodcastsOfOtherFilesAreNone)
{
    Outcome none = tool("podcast " + made("a.m4a", "-f lavfi -i sine=duration=1 -c:a aac"));
    EXPECT_EQ(none.status, 1);
    EXPECT_THAT(none.err, HasSubstr("a.m4a: is no podcast episode"));
}

TEST_F(ToolOnBus, DumpPrintsTheTagsOfAnMP4File)
{
    EXPECT_EQ(
        tool("dump " + made("a.m4a", "-f lavfi -i sine=duration=1 -metadata title=Tone -fflags +bitexact -c:a aac"))
            .out.substr(0, 11),
        "name: Tone\n");
    Outcome none = tool("dump " + picture("a.png"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.out, "MP4Modify failed\n");
}

} // namespace
} // namespace mv::cli
