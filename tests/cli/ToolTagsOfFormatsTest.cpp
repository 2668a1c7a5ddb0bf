// Tags of every format that is written, by options, from JSON and from another file, as other programs read them.
#include "tests/cli/ToolFixture.h"

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::Not;

constexpr const char* ReadTags = R"py(
import sys
import mutagen
from mutagen.flac import Picture
import base64
song = mutagen.File(sys.argv[1])
tags = song.tags if song.tags is not None else {}
kind = type(song).__name__
def id3(id):
    frames = tags.getall(id) if hasattr(tags, 'getall') else []
    return [str(one) for frame in frames for one in frame.text]
if kind in ('MP3', 'WAVE', 'AIFF'):
    fields = [id3(id) for id in ('TIT2', 'TPE1', 'TPE2', 'TCON', 'TDRC', 'TRCK', 'TPOS', 'COMM')]
    pictures = [one.data for one in tags.getall('APIC')]
elif kind == 'MP4':
    pair = lambda key: ['%d/%d' % one if one[1] else str(one[0]) for one in tags.get(key, [])]
    fields = [tags.get(key, []) for key in ('\xa9nam', '\xa9ART', 'aART', '\xa9gen', '\xa9day')]
    fields += [pair('trkn'), pair('disk'), tags.get('\xa9cmt', [])]
    pictures = [bytes(one) for one in tags.get('covr', [])]
else:
    def number(key):
        one, all = tags.get(key + 'number', []), tags.get(key + 'total', [])
        return [one[0] + '/' + all[0]] if one and all else one
    fields = [tags.get(key, []) for key in ('title', 'artist', 'albumartist', 'genre', 'date')]
    fields += [number('track'), number('disc'), tags.get('comment', [])]
    pictures = [one.data for one in getattr(song, 'pictures', [])]
    pictures += [Picture(base64.b64decode(one)).data for one in tags.get('metadata_block_picture', [])]
cover = open(sys.argv[2], 'rb').read()
print('|'.join('+'.join(map(str, one)) for one in fields), ['whole' if one == cover else 'other' for one in pictures])
)py";

class TagsOfFormat : public ToolOnBus, public testing::WithParamInterface<const char*> {
protected:
    void SetUp() override
    {
        if (test::run("/usr/bin/python3 -c 'import mutagen'") != 0)
            GTEST_SKIP() << "mutagen is not here";
        m_cover = made("cover.png", "-f lavfi -i testsrc=size=64x48 -frames:v 1");
        m_read = test::shellQuoted(m_logs.write("read.py", std::string_view(ReadTags)));
    }
    std::string song(const std::string& name)
    {
        std::string codec = std::string(GetParam()) == "ogg" ? " -c:a libvorbis" : "";
        return made(name + "." + GetParam(),
            "-f lavfi -i sine=duration=0.5 -map_metadata -1 -fflags +bitexact -flags:a +bitexact" + codec);
    }
    std::string tagsOf(const std::string& quoted)
    {
        return test::outputOf("/usr/bin/python3 " + m_read + " " + quoted + " " + m_cover);
    }
    static std::string soundOf(const std::string& quoted)
    {
        return test::outputOf("ffmpeg -nostdin -v error -i " + quoted + " -map 0:a -c copy -f md5 -");
    }
    /// A second reader.
    static std::string titleOf(const std::string& quoted)
    {
        return test::outputOf("ffprobe -v error -show_entries format_tags=title:stream_tags=title "
                              "-of default=nk=1:nw=1 "
            + quoted + " | sort -u");
    }

    std::string m_cover;
    std::string m_read;
};

INSTANTIATE_TEST_SUITE_P(Every, TagsOfFormat, testing::Values("mp3", "m4a", "flac", "ogg", "opus", "wav", "aiff"),
    [](const auto& format) { return std::string(format.param); });

constexpr const char* AllOptions
    = "--title '제목 Ä' --artist One --artist 'AC/DC' --album-artist All --genre Rock --genre Pop --date 2019-05-01 "
      "--track 3/12 --disc 1/2 --comment Remark ";
constexpr const char* AllTags = "제목 Ä|One+AC/DC|All|Rock+Pop|2019-05-01|3/12|1/2|Remark ['whole']\n";

TEST_P(TagsOfFormat, AreWhatTheOptionsSay)
{
    std::string one = song("one");
    std::string sound = soundOf(one);
    Outcome changed = tool("tag " + (AllOptions + ("--cover " + m_cover)) + " " + one);
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_THAT(changed.out, HasSubstr("  artist       -                              -> One; AC/DC\n"));
    EXPECT_EQ(tagsOf(one), AllTags);
    EXPECT_EQ(titleOf(one), "제목 Ä\n");
    EXPECT_EQ(soundOf(one), sound);
    Outcome removed = tool("tag --remove cover --remove genre --track 4 " + one);
    EXPECT_EQ(removed.status, 0) << removed.err;
    EXPECT_EQ(tagsOf(one), "제목 Ä|One+AC/DC|All||2019-05-01|4/12|1/2|Remark []\n");
}

TEST_P(TagsOfFormat, AreCopied)
{
    std::string one = song("one");
    std::string two = song("two");
    ASSERT_EQ(tool("tag " + (AllOptions + ("--cover " + m_cover)) + " " + one).status, 0);
    Outcome copied = tool("copy-tags " + one + " " + two);
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_EQ(tagsOf(two), AllTags);
    // From any format to any other one.
    std::string flac = made("other.flac", "-f lavfi -i sine=duration=0.5 -metadata genre=Jazz -metadata composer=C");
    EXPECT_EQ(tool("copy-tags --fields title,cover,artist " + one + " " + flac).status, 0);
    EXPECT_EQ(tagsOf(flac), "제목 Ä|One+AC/DC||Jazz|||| ['whole']\n");
    // What the source has not goes where that is asked for alone.
    std::string source = made("source.flac", "-f lavfi -i sine=duration=0.5 -metadata title=Bare");
    EXPECT_EQ(tool("copy-tags " + source + " " + two).status, 0);
    EXPECT_EQ(tagsOf(two), "Bare|One+AC/DC|All|Rock+Pop|2019-05-01|3/12|1/2|Remark ['whole']\n");
    EXPECT_EQ(tool("copy-tags --replace " + source + " " + two).status, 0);
    EXPECT_EQ(tagsOf(two), "Bare||||||| []\n");
}

TEST_P(TagsOfFormat, ComeFromJson)
{
    std::string one = song("one");
    ASSERT_EQ(tool("tag " + (AllOptions + ("--cover " + m_cover)) + " " + one).status, 0);
    std::string path = m_folder.file(std::string("one.") + GetParam());
    std::string list = m_logs.write("list",
        "{\"path\":\"" + path
            + "\",\"xesam:title\":\"New\",\"xesam:artist\":[\"One\",\"AC/DC\"],\"xesam:genre\":null,"
              "\"mivo:trackTotal\":0,\"mivo:bitrate\":7,\"mpris:length\":null}\n\n");
    Outcome dry = tool("tag --dry-run --from-json " + list);
    EXPECT_EQ(dry.status, 0) << dry.err;
    EXPECT_THAT(dry.out, HasSubstr("  title        제목 Ä                           -> New\n"));
    EXPECT_EQ(tagsOf(one), AllTags);
    Outcome changed = tool("tag --from-json - <" + list);
    EXPECT_EQ(changed.status, 0) << changed.err;
    EXPECT_EQ(changed.out, dry.out);
    EXPECT_EQ(tagsOf(one), "New|One+AC/DC|All||2019-05-01|3|1/2|Remark ['whole']\n");
    // What is as it is to be is not written.
    Bytes before = test::readFile(path);
    auto written = std::filesystem::last_write_time(path);
    Outcome again = tool("tag --from-json " + list);
    EXPECT_EQ(again.status, 0) << again.err;
    EXPECT_EQ(again.out, "");
    EXPECT_EQ(std::filesystem::last_write_time(path), written);
    EXPECT_EQ(test::readFile(path), before);
}

TEST_F(ToolOnBus, ManyFilesAreToldApart)
{
    std::string good = made("good.mp3", "-f lavfi -i sine=duration=0.2");
    std::string bad = m_folder.write("bad.mp3", std::string_view("no song at all"));
    std::string last = made("last.flac", "-f lavfi -i sine=duration=0.2");
    Outcome changed = tool("tag --title T " + good + " " + bad + " " + m_folder.file("none.mp3") + " " + last);
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(changed.out, testing::MatchesRegex(".*good.mp3\n  title .*T\n.*last.flac\n  title .*T\n"));
    EXPECT_THAT(changed.err, HasSubstr("mivo tag: " + bad + ": "));
    EXPECT_THAT(changed.err, HasSubstr("none.mp3: there is no such file\n"));
    EXPECT_EQ(test::readFile(bad).size(), 14u);
    EXPECT_THAT(tool("tag " + last).out, HasSubstr("  title        T                                 T\n"));
}

TEST_F(ToolOnBus, LinesThatMeanNothingAreToldAndTheOthersDone)
{
    made("a.mp3", "-f lavfi -i sine=duration=0.2");
    std::string a = m_folder.file("a.mp3");
    std::string list = m_logs.write("list",
        "{\"path\":\"" + a + "\",\"xesam:title\":\"One\"}\nrubbish\n{\"path\":\"" + a
            + "\",\"xesam:trackNumber\":\"x\"}\n{\"path\":\"" + a + "\",\"xesam:title\":\"Two\"}\n{\"path\":\"" + a
            + "\",\"xesam:album\":\"Al");
    Outcome changed = tool("tag --from-json " + list);
    EXPECT_EQ(changed.status, 1);
    EXPECT_THAT(changed.err, HasSubstr("mivo tag: line 2: is no JSON object\n"));
    EXPECT_THAT(changed.err, HasSubstr("mivo tag: line 3: \"xesam:trackNumber\" takes a whole number"));
    EXPECT_THAT(changed.err, HasSubstr("mivo tag: line 5: is no JSON object\n"));
    // Of two lines about one file the later one is done later.
    EXPECT_THAT(tool("tag " + a).out, HasSubstr("  title        Two "));
    EXPECT_THAT(tool("tag " + a).out, Not(HasSubstr("album")));
    EXPECT_EQ(tool("tag --from-json " + list + " " + a).status, 2);
    EXPECT_EQ(tool("tag --from-json " + list + " --title x").status, 2);
    EXPECT_EQ(tool("tag --from-json " + m_folder.file("none")).status, 1);
    EXPECT_EQ(tool("tag --title x").status, 2);
}

TEST_F(ToolOnBus, TheLastLineOfAFileCountsUnderWhateverName)
{
    made("a.mp3", "-f lavfi -i sine=duration=0.2");
    std::string folder = m_folder.path();
    symlink("a.mp3", m_folder.file("link.mp3").c_str());
    const std::string names[] { "/a.mp3", "/./a.mp3", "/link.mp3" };
    std::string lines;
    for (int i = 0; i < 12; ++i)
        lines += "{\"path\":\"" + folder + names[i % 3] + "\",\"xesam:title\":\"" + std::to_string(i) + "\"}\n";
    Outcome changed = tool("tag --from-json " + m_logs.write("list", lines));
    EXPECT_EQ(changed.status, 0) << changed.err;
    // Each finds what the one before has written.
    for (int i = 1; i < 12; ++i)
        EXPECT_THAT(changed.out,
            testing::ContainsRegex("  title        " + std::to_string(i - 1) + " +-> " + std::to_string(i) + "\n"));
    EXPECT_THAT(tool("tag --from-json " + folder).err,
        HasSubstr("mivo tag: " + folder + ": the list cannot be read: Is a directory\n"));
}

TEST_F(ToolOnBus, ANumberThatNoTagHasIsNotCopied)
{
    std::string episode
        = made("a.mp3", "-f lavfi -i sine=duration=0.2 -metadata title=New -metadata track=20160531 -metadata disc=2");
    std::string song = made("b.mp3", "-f lavfi -i sine=duration=0.2 -metadata title=Old -metadata track=7");
    Outcome copied = tool("copy-tags " + episode + " " + song);
    EXPECT_EQ(copied.status, 0) << copied.err;
    EXPECT_THAT(copied.out, HasSubstr("title        Old                            -> New\n"));
    EXPECT_THAT(copied.out, HasSubstr("track        7                                 7\n"));
    EXPECT_THAT(copied.out, HasSubstr("disc         -                              -> 2\n"));
}

TEST_F(ToolOnBus, CopiesSayWhatTheyCannot)
{
    std::string bare = made("bare.flac", "-f lavfi -i sine=duration=0.2 -map_metadata -1 -fflags +bitexact");
    std::string song = made("a.mp3", "-f lavfi -i sine=duration=0.2 -metadata title=T");
    Outcome nothing = tool("copy-tags " + bare + " " + song);
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.err, HasSubstr("bare.flac: has none of the tags, so there is nothing to copy"));
    Outcome unknown = tool("copy-tags --fields titel " + song + " " + bare);
    EXPECT_EQ(unknown.status, 2);
    EXPECT_THAT(unknown.err, HasSubstr("there is no field \"titel\"; did you mean \"title\"?"));
    EXPECT_EQ(tool("copy-tags " + song).status, 2);
    Outcome refused = tool("copy-tags " + song + " " + picture("c.png") + " " + bare);
    EXPECT_EQ(refused.status, 1);
    EXPECT_THAT(refused.err, HasSubstr("c.png: Tags of \"c.png\" are not written"));
    EXPECT_THAT(tool("tag " + bare).out, HasSubstr("title        T"));
}

} // namespace
} // namespace mv::cli
