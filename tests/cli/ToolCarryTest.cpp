// Tags and covers that go along into encoded and converted files, as another program reads them.
#include "tests/cli/ToolFixture.h"

namespace mv::cli {
namespace {

using testing::HasSubstr;

// Python's mutagen writes the sources and reads the outputs.
constexpr const char* WriteTags = R"py(
import base64, sys
from mutagen.flac import FLAC, Picture
from mutagen.oggvorbis import OggVorbis
from mutagen.mp4 import MP4, MP4Cover
from mutagen.id3 import ID3, TIT2, TPE1, TALB, TRCK, TDRC, TPE2, TSSE, APIC
path, cover = sys.argv[1], open(sys.argv[2], 'rb').read()
if path.endswith(('.flac', '.ogg')):
    picture = Picture()
    picture.data, picture.type, picture.mime = cover, 3, 'image/png'
    song = FLAC(path) if path.endswith('.flac') else OggVorbis(path)
    song.update({'title': '제목 Ä', 'artist': ['One', 'Two'], 'album': 'Sines', 'tracknumber': '3',
                 'tracktotal': '12', 'date': '2019-05-01', 'albumartist': 'All', 'encoder': 'old'})
    if path.endswith('.flac'):
        song.add_picture(picture)
    else:
        song['metadata_block_picture'] = base64.b64encode(picture.write()).decode()
elif path.endswith('.m4a'):
    song = MP4(path)
    song.update({'\xa9nam': '제목 Ä', '\xa9ART': 'One/Two', '\xa9alb': 'Sines', 'trkn': [(3, 12)],
                 '\xa9day': '2019-05-01', 'aART': 'All', '\xa9too': 'old',
                 'covr': [MP4Cover(cover, MP4Cover.FORMAT_PNG)]})
else:
    song = ID3()
    for frame in (TIT2(3, '제목 Ä'), TPE1(3, ['One', 'Two']), TALB(3, 'Sines'), TRCK(3, '3/12'),
                  TDRC(3, '2019-05-01'), TPE2(3, 'All'), TSSE(3, 'old'), APIC(3, 'image/png', 3, '', cover)):
        song.add(frame)
    song.save(path)
    sys.exit(0)
song.save()
)py";

constexpr const char* ReadTags = R"py(
import sys
from mutagen.mp3 import MP3
from mutagen.mp4 import MP4
path, cover = sys.argv[1], open(sys.argv[2], 'rb').read()
if path.endswith('.mp3'):
    tags = MP3(path).tags or {}
    text = lambda id: str(tags[id].text[0]) if id in tags else '-'
    fields = [text(id) for id in ('TIT2', 'TPE1', 'TALB', 'TRCK', 'TDRC', 'TPE2', 'TSSE')]
    pictures = [frame.data for id, frame in tags.items() if id.startswith('APIC')]
else:
    tags = MP4(path).tags or {}
    text = lambda id: str(tags[id][0]) if id in tags else '-'
    fields = [text(id) for id in ('\xa9nam', '\xa9ART', '\xa9alb', 'trkn', '\xa9day', 'aART', '\xa9too')]
    pictures = [bytes(one) for one in tags.get('covr', [])]
print('|'.join(fields), ['whole' if one == cover else 'other' for one in pictures])
)py";

class ToolCarry : public ToolOnBus {
protected:
    void SetUp() override
    {
        if (test::run("/usr/bin/python3 -c 'import mutagen'") != 0)
            GTEST_SKIP() << "mutagen is not here";
        m_cover = made("cover.png", "-f lavfi -i testsrc=size=600x500 -frames:v 1");
        m_write = test::shellQuoted(m_logs.write("write.py", std::string_view(WriteTags)));
        m_read = test::shellQuoted(m_logs.write("read.py", std::string_view(ReadTags)));
    }
    std::string taggedTone(const std::string& name)
    {
        std::string song = tone(name, 1);
        EXPECT_EQ(test::run("/usr/bin/python3 " + m_write + " " + song + " " + m_cover), 0);
        return song;
    }
    std::string tagsOf(const std::string& song)
    {
        return test::outputOf("/usr/bin/python3 " + m_read + " " + song + " " + m_cover);
    }
    /// The samples that ffmpeg decodes.
    std::string soundOf(const std::string& song)
    {
        return test::outputOf("ffmpeg -nostdin -v error -i " + song + " -map 0:a -f md5 -");
    }

    std::string m_cover;
    std::string m_write;
    std::string m_read;
};

class ToolCarryFrom : public ToolCarry, public testing::WithParamInterface<const char*> {
protected:
    /// What became of the tagged song; both are made with the same options.
    void make(const std::string& options)
    {
        std::string song = taggedTone(std::string("a.") + GetParam());
        ASSERT_EQ(tool("encode " + options + " " + song + " " + m_mp3).status, 0);
        ASSERT_EQ(tool("convert " + options + " " + song + " " + m_m4a).status, 0);
    }

    std::string m_mp3 = m_folder.file("out.mp3");
    std::string m_m4a = m_folder.file("out.m4a");
};

INSTANTIATE_TEST_SUITE_P(EveryFormat, ToolCarryFrom, testing::Values("flac", "ogg", "m4a", "mp3"),
    [](const auto& source) { return std::string(source.param); });

TEST_P(ToolCarryFrom, TagsAndCoverGoAlongWhole)
{
    make("");
    EXPECT_EQ(tagsOf(m_mp3), "제목 Ä|One/Two|Sines|3/12|2019-05-01|All|- ['whole']\n");
    EXPECT_EQ(tagsOf(m_m4a), "제목 Ä|One/Two|Sines|(3, 12)|2019-05-01|All|- ['whole']\n");
    // A second reader.
    std::string probe
        = "ffprobe -v error -show_entries format_tags=title,track,date:stream=width -of default=nk=1:nw=1 ";
    EXPECT_EQ(test::outputOf(probe + m_mp3), "600\n제목 Ä\n3/12\n2019-05-01\n");
    EXPECT_EQ(test::outputOf(probe + m_m4a), "600\n제목 Ä\n2019-05-01\n3/12\n");
}

TEST_P(ToolCarryFrom, NoTagsLeavesThemOut)
{
    make("--no-tags");
    EXPECT_EQ(tagsOf(m_mp3), "-|-|-|-|-|-|- []\n");
    EXPECT_EQ(tagsOf(m_m4a), "-|-|-|-|-|-|- []\n");
}

TEST_F(ToolCarry, TheSoundIsThatOfAFileWithoutTags)
{
    std::string song = taggedTone("a.flac");
    for (const char* words : { "encode", "convert" }) {
        std::string ending = words == std::string("encode") ? ".mp3" : ".m4a";
        std::string with = m_folder.file("with" + ending);
        std::string without = m_folder.file("without" + ending);
        ASSERT_EQ(tool(std::string(words) + " " + song + " " + with).status, 0);
        ASSERT_EQ(tool(std::string(words) + " --no-tags " + song + " " + without).status, 0);
        EXPECT_EQ(soundOf(with), soundOf(without)) << words;
        EXPECT_GT(test::readFile(with).size(), test::readFile(without).size()) << words;
    }
}

TEST_F(ToolCarry, SourcesWithoutTagsGiveNone)
{
    std::string wav = tone("a.wav", 1);
    std::string bare = made("bare.wav", "-f lavfi -i sine=duration=1 -fflags +bitexact -map_metadata -1");
    for (const std::string& song : { wav, bare }) {
        std::string mp3 = m_folder.file("out.mp3");
        ASSERT_EQ(tool("encode --force " + song + " " + mp3).status, 0);
        EXPECT_EQ(tagsOf(mp3), "-|-|-|-|-|-|- []\n");
    }
}

// An MPEG-4 file begins with its own first box: with an ID3 tag in front of it many programs know no music there.
TEST_F(ToolCarry, AConvertedMP3IsAnOrdinaryMPEG4File)
{
    std::string m4a = m_folder.file("out.m4a");
    ASSERT_EQ(tool("convert " + taggedTone("a.mp3") + " " + m4a).status, 0);
    Bytes content = test::readFile(m4a);
    EXPECT_EQ(std::string(content.begin() + 4, content.begin() + 8), "ftyp");
}

// Bytes of the Korean code page under the name of Latin-1, as the service reads them.
TEST_F(ToolCarry, MislabelledKoreanComesOutRight)
{
    std::string song = tone("a.mp3", 1);
    std::string script = "import sys; from mutagen.id3 import ID3, TIT2, TPE2; t=ID3(); "
                         "t.add(TIT2(0, bytes([0xc1,0xa6,0xb8,0xf1]).decode('latin-1'))); "
                         "t.add(TPE2(0, 'Mot\\xf6rhead')); t.save(sys.argv[1], v1=0)";
    ASSERT_EQ(test::run("/usr/bin/python3 -c " + test::shellQuoted(script) + " " + song), 0);
    ASSERT_EQ(tool("encode " + song + " " + m_folder.file("o.mp3")).status, 0);
    EXPECT_THAT(tagsOf(m_folder.file("o.mp3")), HasSubstr("제목|-|-|-|-|Motörhead"));
    ASSERT_EQ(tool("convert " + song + " " + m_folder.file("o.m4a")).status, 0);
    EXPECT_THAT(tagsOf(m_folder.file("o.m4a")), HasSubstr("제목|-|-|-|-|Motörhead"));
}

TEST_F(ToolCarry, OfNumbersAndDatesTheFirstCounts)
{
    std::string song = tone("a.flac", 1);
    const std::string write
        = "import sys; from mutagen.flac import FLAC; s=FLAC(sys.argv[1]); "
          "s.update({'title': 'T', 'artist': ['One', 'Two'], 'tracknumber': ['3', '5'], 'tracktotal': ['12', '12'], "
          "'discnumber': ['1', '1'], 'date': ['2019-05-01', '2020']}); s.save()";
    ASSERT_EQ(test::run("/usr/bin/python3 -c " + test::shellQuoted(write) + " " + song), 0);
    std::string mp3 = m_logs.file("a.mp3");
    ASSERT_EQ(tool("encode " + song + " " + mp3).status, 0);
    EXPECT_EQ(tagsOf(mp3), "T|One/Two|-|3/12|2019-05-01|-|- []\n");
    std::string m4a = m_logs.file("a.m4a");
    ASSERT_EQ(tool("convert " + song + " " + m4a).status, 0);
    EXPECT_EQ(tagsOf(m4a), "T|One/Two|-|(3, 12)|2019-05-01|-|- []\n");
    EXPECT_THAT(test::outputOf("ffprobe -v error -show_entries format_tags=disc " + m4a), HasSubstr("disc=1\n"));
}

// Of an MPEG-4 file's pictures programs show the first.
TEST_F(ToolCarry, TheFrontCoverComesFirst)
{
    std::string song = tone("a.flac", 1);
    const std::string write = "import sys; from mutagen.flac import FLAC, Picture; s=FLAC(sys.argv[1])\n"
                              "for kind, data in ((4, b'back'), (3, open(sys.argv[2], 'rb').read())):\n"
                              "  p=Picture(); p.type=kind; p.mime='image/png'; p.data=data; s.add_picture(p)\n"
                              "s['title']='T'; s.save()";
    ASSERT_EQ(test::run("/usr/bin/python3 -c " + test::shellQuoted(write) + " " + song + " " + m_cover), 0);
    std::string m4a = m_logs.file("a.m4a");
    ASSERT_EQ(tool("convert " + song + " " + m4a).status, 0);
    EXPECT_EQ(tagsOf(m4a), "T|-|-|-|-|-|- ['whole', 'other']\n");
}

TEST_F(ToolCarry, ANumberWithoutRoomIsNoSmallerOne)
{
    std::string song = made("a.mp3", "-f lavfi -i sine=duration=1 -metadata title=T -metadata track=20160531");
    std::string m4a = m_logs.file("a.m4a");
    ASSERT_EQ(tool("convert " + song + " " + m4a).status, 0);
    EXPECT_EQ(tagsOf(m4a), "T|-|-|-|-|-|- []\n");
}

TEST_F(ToolCarry, OtherFieldsGoAlongToo)
{
    std::string song = tone("a.flac", 1);
    std::string script
        = "import sys; from mutagen.flac import FLAC; s=FLAC(sys.argv[1]); "
          "s.update({'composer':'C','genre':['Rock','Pop'],'comment':'R','discnumber':'1','disctotal':'2',"
          "'isrc':'US1','lyrics':'La\\nLa','bpm':'120','copyright':'2019 X','compilation':'1'}); s.save()";
    ASSERT_EQ(test::run("/usr/bin/python3 -c " + test::shellQuoted(script) + " " + song), 0);
    ASSERT_EQ(tool("encode " + song + " " + m_folder.file("o.mp3")).status, 0);
    ASSERT_EQ(tool("convert " + song + " " + m_folder.file("o.m4a")).status, 0);
    std::string read = "import sys, mutagen; t=mutagen.File(sys.argv[1]).tags; print('|'.join(k+'='+str(t[k]) for k in "
                       "sorted(t.keys())))";
    auto all = [&](const char* name) {
        return test::outputOf("/usr/bin/python3 -c " + test::shellQuoted(read) + " " + m_folder.file(name));
    };
    EXPECT_THAT(all("o.mp3"),
        testing::MatchesRegex(
            "COMM::XXX=R\\|TBPM=120\\|TCMP=1\\|TCOM=C\\|TCON=Rock/Pop\\|TCOP=2019 X\\|TPOS=1/2\\|TSRC=US1"
            "\\|USLT:[^=]*=La\nLa\n"));
    EXPECT_EQ(all("o.m4a"),
        "----:com.apple.iTunes:ISRC=[MP4FreeForm(b'US1', <AtomDataType.UTF8: 1>)]|cpil=True|cprt=['2019 X']|disk=[(1, "
        "2)]|"
        "tmpo=[120]|©cmt=['R']|©gen=['Rock/Pop']|©lyr=['La\\nLa']|©wrt=['C']\n");
}

TEST_F(ToolCarry, AnOggFileMayHoldOtherThanVorbis)
{
    for (const char* codec : { "libopus", "flac" }) {
        std::string song = made("a.ogg", std::string("-f lavfi -i sine=duration=1 -metadata title=Tone -c:a ") + codec);
        ASSERT_EQ(tool("encode --force " + song + " " + m_folder.file("o.mp3")).status, 0) << codec;
        EXPECT_THAT(tagsOf(m_folder.file("o.mp3")), HasSubstr("Tone|")) << codec;
    }
}

} // namespace
} // namespace mv::cli
