// The tool as people start it, with the real service on a private bus.
#include "Base/Media/MediaDB.h"
#include "tests/service/image/ExifMaker.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"

#include <chrono>
#include <csignal>
#include <cstdlib>
#include <fstream>
#include <gmock/gmock.h>
#include <iterator>
#include <sys/stat.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

constexpr const char* kTool = MIVO_BINARY_DIR "/bin/mivo";

struct Outcome {
    int status = -1;
    std::string out;
    std::string err;
};

class ToolTest : public testing::Test {
protected:
    /// Runs the tool with a shell's words.
    Outcome tool(const std::string& words, const std::string& before = {})
    {
        std::string command = before + " " + test::quoted(kTool) + " " + words + " >" + test::quoted(m_logs.file("out"))
            + " 2>" + test::quoted(m_logs.file("err"));
        int status = std::system(command.c_str());
        return { WEXITSTATUS(status), text("out"), text("err") };
    }
    std::string text(const std::string& name)
    {
        Bytes bytes = test::readFile(m_logs.file(name));
        return { bytes.begin(), bytes.end() };
    }
    /// A file of that name made by ffmpeg, quoted for the shell.
    std::string made(const std::string& name, const std::string& arguments)
    {
        std::string path = m_folder.file(name);
        EXPECT_EQ(test::run("ffmpeg -nostdin -loglevel error -y " + arguments + " " + test::quoted(path)), 0);
        return test::quoted(path);
    }
    std::string picture(const std::string& name) { return made(name, "-f lavfi -i testsrc=size=64x48 -frames:v 1"); }
    std::string tone(const std::string& name, int seconds = 2)
    {
        return made(name, "-f lavfi -i sine=frequency=440:duration=" + std::to_string(seconds) + " -ac 2 -ar 44100");
    }

    /// The tool at work on a job that takes seconds, with its standard error in "err".
    pid_t startedLongEncoding()
    {
        tone("long.wav", 200);
        m_logs.write("err", std::string_view());
        std::string err = m_logs.file("err");
        std::string input = m_folder.file("long.wav");
        std::string output = m_folder.file("long.mp3");
        pid_t child = fork();
        if (child == 0) {
            if (freopen(err.c_str(), "w", stderr))
                execl(kTool, kTool, "encode", "--quality", "best", input.c_str(), output.c_str(), nullptr);
            _exit(99);
        }
        for (int i = 0; i < 2000 && text("err").find("started") == std::string::npos; ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        return child;
    }
    /// A process that ended and that nobody has waited for is not alive.
    static bool isAlive(pid_t process)
    {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string line;
        return std::getline(file, line) && line.find(") Z") == std::string::npos;
    }

    test::ScratchFolder m_folder;
    test::ScratchFolder m_logs;
};

/// With a bus; the service is started by the first command and quits at the end.
class ToolOnBus : public ToolTest {
protected:
    ~ToolOnBus() override { tool("quit"); }
    test::PrivateBus m_bus;
};

/// Without one.
class ToolWithoutBus : public ToolTest {
protected:
    ToolWithoutBus()
    {
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        setenv("XDG_RUNTIME_DIR", m_logs.path().c_str(), 1);
    }
};

TEST_F(ToolTest, HelpNamesEveryCommand)
{
    Outcome help = tool("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* name : { "describe", "exif", "thumbnail", "sheet", "tag", "podcast", "encode", "convert", "export",
             "dump", "status", "quit" }) {
        EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + name + " "));
        Outcome own = tool(std::string(name) + " --help");
        EXPECT_EQ(own.status, 0) << name;
        EXPECT_THAT(own.out, StartsWith(std::string("Usage: mivo ") + name)) << name;
        EXPECT_EQ(own.err, "") << name;
    }
    EXPECT_EQ(tool("").status, 1);
    EXPECT_EQ(tool("--version").out, "mivo 1.3.0\n");
}

TEST_F(ToolTest, MisuseIsToldBeforeAnythingStarts)
{
    Outcome unknown = tool("discribe x");
    EXPECT_EQ(unknown.status, 1);
    EXPECT_EQ(unknown.err, "mivo: there is no command \"discribe\"\nTry \"mivo --help\".\n");
    Outcome option = tool("describe --jsn x");
    EXPECT_EQ(option.status, 1);
    EXPECT_EQ(option.err, "mivo describe: there is no option --jsn\nTry \"mivo describe --help\".\n");
    EXPECT_EQ(tool("describe").err, "mivo describe: which file? Try \"mivo describe --help\".\n");
    EXPECT_THAT(tool("exif").err, StartsWith("mivo exif: there is a file name missing\n"));
    EXPECT_THAT(tool("convert a b c").err, StartsWith("mivo convert: there are too many file names\n"));
    EXPECT_EQ(tool("thumbnail a").err, "mivo thumbnail: where shall the thumbnail go? Name a file, or say --show.\n");
    EXPECT_EQ(tool("encode --mode quad a b").err, "mivo encode: --mode is one of: mono, stereo, joint\n");
    EXPECT_EQ(tool("encode --bitrate 9999 a b").err,
        "mivo encode: --bitrate takes a whole number from 8 to 320, not \"9999\"\n");
}

TEST_F(ToolWithoutBus, StartsAPrivateServiceAndEndsIt)
{
    Outcome described = tool("describe --json " + picture("a.png"));
    EXPECT_EQ(described.status, 0) << described.err;
    EXPECT_THAT(described.out, HasSubstr("\"FileTypeString\":\"PNG\""));
    EXPECT_EQ(described.err, "");
    EXPECT_EQ(tool("status").err, "mivo status: there is no session bus, so no service runs on it\n");
    EXPECT_EQ(tool("status").status, 1);
    EXPECT_EQ(tool("quit").err, "mivo quit: the service does not run\n");
}

TEST_F(ToolWithoutBus, ASayingServiceIsHeardWithLog)
{
    Outcome quiet = tool("describe " + test::quoted(m_folder.write("a.m4a", std::string_view("no movie"))));
    EXPECT_EQ(quiet.status, 1);
    EXPECT_THAT(quiet.err, testing::Not(HasSubstr("MP4Parser file open fail")));
    Outcome loud = tool("describe --log " + test::quoted(m_folder.file("a.m4a")));
    EXPECT_THAT(loud.err, HasSubstr("MP4Parser file open fail"));
}

TEST_F(ToolOnBus, TheServiceIsStartedOnceSeenAndQuit)
{
    Outcome before = tool("status");
    EXPECT_EQ(before.status, 1);
    EXPECT_THAT(before.out, HasSubstr("MivoMP3Parser_1.3.0.12062         not running\n"));
    EXPECT_EQ(before.err, "mivo status: 9 of 9 services do not run\n");
    EXPECT_EQ(tool("describe " + picture("a.png")).status, 0);
    Outcome status = tool("status");
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_THAT(status.out, testing::ContainsRegex("MivoBasicAudioParser_1.3.0.12062  process [0-9]+, up 0:0[0-9]\n"));
    EXPECT_THAT(tool("status --json").out,
        testing::ContainsRegex(
            "\\{\"service\":\"MivoAVParser_1.3.0.12062\",\"running\":true,\"pid\":[0-9]+,\"uptime\":[0-9]+\\}\n"));
    EXPECT_EQ(tool("describe " + test::quoted(m_folder.file("a.png"))).status, 0);
    EXPECT_EQ(tool("status").out.substr(0, 50), status.out.substr(0, 50));
    EXPECT_EQ(tool("quit").status, 0);
    EXPECT_EQ(tool("status").status, 1);
    EXPECT_EQ(tool("quit").status, 1);
}

TEST_F(ToolOnBus, DescribesInTheOrderOfTheFiles)
{
    std::string png = picture("a.png");
    std::string wav = tone("b.wav");
    std::string gif = picture("c.gif");
    Outcome described = tool("describe --json " + wav + " /no/such.mp3 " + png + " " + gif);
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.err, "mivo describe: /no/such.mp3: there is no such file\n");
    auto at = [&](const char* text) { return described.out.find(text); };
    EXPECT_LT(at("\"FileName\":\"b.wav\""), at("\"error\":\"there is no such file\""));
    EXPECT_LT(at("\"error\":\"there is no such file\""), at("\"FileName\":\"a.png\""));
    EXPECT_LT(at("\"FileName\":\"a.png\""), at("\"FileName\":\"c.gif\""));
    EXPECT_NE(at("\"FileName\":\"c.gif\""), std::string::npos);
    EXPECT_EQ(std::count(described.out.begin(), described.out.end(), '\n'), 4);
}

TEST_F(ToolOnBus, DescribesForPeople)
{
    std::string png = picture("a.png");
    Outcome described = tool("describe " + png);
    EXPECT_EQ(described.status, 0);
    EXPECT_THAT(described.out, StartsWith(m_folder.file("a.png") + "\n  FilePath         " + m_folder.file("a.png")));
    EXPECT_THAT(described.out, HasSubstr("\n  Image            picture, 100 x 75, "));
    EXPECT_THAT(described.out, HasSubstr("\n  Width            64 pixels\n  Height           48 pixels\n"));
    EXPECT_THAT(tool("describe --json --pictures " + png).out, HasSubstr("\"base64\":\"SUkq"));
}

TEST_F(ToolOnBus, ReadsNamesFromLists)
{
    picture("a.png");
    picture("b\nc.png");
    m_folder.write("lines", m_folder.file("a.png") + "\n");
    m_folder.write("zeros", m_folder.file("b\nc.png") + std::string(1, '\0'));
    Outcome lines = tool("describe --json --files-from - <" + test::quoted(m_folder.file("lines")));
    EXPECT_EQ(lines.status, 0) << lines.err;
    EXPECT_THAT(lines.out, HasSubstr("\"FileName\":\"a.png\""));
    Outcome zeros = tool("describe --json --null --files-from " + test::quoted(m_folder.file("zeros")));
    EXPECT_EQ(zeros.status, 0) << zeros.err;
    EXPECT_THAT(zeros.out, HasSubstr("\"FileName\":\"b\\nc.png\""));
    EXPECT_EQ(tool("describe --files-from /dev/null").status, 0);
    EXPECT_THAT(tool("describe --files-from /no/list").err, HasSubstr("the list cannot be read"));
}

TEST_F(ToolOnBus, BadFilesGetAReasonEach)
{
    std::string fifo = m_folder.file("fifo.mp3");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    m_folder.write("empty.jpg", std::string_view());
    m_folder.write("text.png", std::string_view("no picture"));
    std::string bad = m_folder.file("caf\xe9.mp3");
    Outcome described = tool("describe " + fifo + " " + m_folder.path() + " " + m_folder.file("empty.jpg") + " "
        + m_folder.file("text.png") + " " + test::quoted(bad) + " ''");
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.out, "");
    std::string folder = m_folder.path();
    EXPECT_EQ(described.err,
        "mivo describe: " + folder + "/fifo.mp3: is not a regular file\n" + "mivo describe: " + folder
            + ": is a folder\n" + "mivo describe: " + folder + "/empty.jpg: is no file that the service can describe\n"
            + "mivo describe: " + folder + "/text.png: is no file that the service can describe\n" + "mivo describe: "
            + folder + "/caf\\xe9.mp3: the name is not UTF-8, and the service takes no other; rename the file first\n"
            + "mivo describe: : an empty name is no file\n");
}

TEST_F(ToolOnBus, ThumbnailsOfEveryForm)
{
    std::string png = picture("a.png");
    auto size = [&](const std::string& file) {
        return test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name,width,height -of csv=p=0 "
            + test::quoted(m_folder.file(file)));
    };
    auto thumbnail = [&](const std::string& name, const std::string& options) {
        return tool("thumbnail " + options + " " + png + " " + test::quoted(m_folder.file(name)));
    };
    EXPECT_EQ(thumbnail("t.png", "").status, 0);
    EXPECT_EQ(size("t.png"), "png,100,75\n");
    EXPECT_EQ(thumbnail("t.jpg", "--size 32x32").status, 0);
    EXPECT_EQ(size("t.jpg"), "mjpeg,32,24\n");
    EXPECT_EQ(thumbnail("t.tif", "--category 1").status, 0);
    EXPECT_EQ(size("t.tif"), "tiff,200,200\n");
    EXPECT_EQ(thumbnail("v.png", "--category 3").status, 0);
    EXPECT_EQ(size("v.png"), "png,130,90\n");
    Outcome gif = thumbnail("t.gif", "");
    EXPECT_EQ(gif.status, 1);
    EXPECT_THAT(gif.err, HasSubstr("the name must end in .tif, .png or .jpg"));
    EXPECT_THAT(thumbnail("t.png", "--size 5").err, HasSubstr("--size takes WIDTHxHEIGHT"));
    EXPECT_THAT(tool("thumbnail --show " + png).err, HasSubstr("this terminal shows no pictures"));
    EXPECT_THAT(tool("thumbnail --show --protocol kitty " + png).out, StartsWith("\033_Gf=100"));
    EXPECT_THAT(tool("thumbnail --show " + tone("a.wav")).err, HasSubstr("has no picture"));
}

TEST_F(ToolOnBus, AThumbnailTooLargeForAnAnswerIsToldSo)
{
    Outcome outcome = tool("thumbnail --size 4000x4000 " + picture("a.png") + " " + m_folder.file("t.png"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("the answer is too large"));
}

TEST_F(ToolOnBus, VideosGiveTheirFrame)
{
    std::string clip = made("v.mp4", "-f lavfi -i testsrc=size=320x240:duration=4 -c:v mpeg4");
    EXPECT_EQ(tool("thumbnail " + clip + " " + m_folder.file("v.png")).status, 0);
    EXPECT_THAT(tool("thumbnail --size 10x10 " + clip + " " + m_folder.file("v.png")).err,
        HasSubstr("--size and --category are for picture files only"));
}

TEST_F(ToolOnBus, ExifOfPictures)
{
    using test::ExifMaker;
    Bytes block = ExifMaker()
                      .ascii(ExifMaker::Ifd0, 0x0110, "Model \033[2J")
                      .ascii(ExifMaker::Ifd0, 0x0132, "2013:05:01 12:00:00")
                      .undefined(ExifMaker::ExifIfd, 0x9000, "0221")
                      .block();
    std::string file = m_folder.write("a.jpg", test::jpegPicture(8, 8, block));
    Outcome exif = tool("exif " + file, "TZ=UTC");
    EXPECT_EQ(exif.status, 0) << exif.err;
    EXPECT_THAT(exif.out, StartsWith(file + "\n  model             Model \\x1b[2J\n"));
    EXPECT_THAT(exif.out, HasSubstr("\n  version           Exif Version 2.21\n"));
    EXPECT_THAT(exif.out, testing::EndsWith("\n  versionNumber     221\n  date              2013-05-01 12:00:00\n"));
    EXPECT_THAT(tool("exif --json " + file).out,
        HasSubstr("\"versionNumber\":221,\"date\":\"2013-05-01T12:00:00.000000Z\"}\n"));
    Outcome none = tool("exif " + picture("a.png"));
    EXPECT_EQ(none.status, 1);
    EXPECT_EQ(none.err, "mivo exif: " + m_folder.file("a.png") + ": has no EXIF data\n");
}

TEST_F(ToolOnBus, AnExceptionOfTheServiceIsToldByItsName)
{
    using test::ExifMaker;
    Bytes block = ExifMaker().ascii(ExifMaker::Ifd0, 0x0132, "2013:13:01 12:00:00").block();
    std::string file = m_folder.write("a.jpg", test::jpegPicture(8, 8, block));
    Outcome described = tool("describe " + file);
    EXPECT_EQ(described.status, 1);
    EXPECT_THAT(
        described.err, StartsWith("mivo describe: " + file + ": the service raised NSInvalidArgumentException: "));
}

TEST_F(ToolOnBus, ASheetOfAFolder)
{
    picture("one.png");
    test::run("mkdir " + m_folder.file("sub"));
    picture("sub/two.jpg");
    tone("song.wav");
    m_folder.write("broken.png", std::string_view("no picture"));
    m_folder.write("notes.txt", std::string_view("not shown"));
    Outcome sheet = tool("sheet --title 'A & B' " + m_folder.path() + " " + m_logs.file("page.html"));
    EXPECT_EQ(sheet.status, 0) << sheet.err;
    EXPECT_EQ(sheet.err, "mivo sheet: " + m_folder.file("broken.png") + ": is no file that the service can describe\n");
    std::string page = text("page.html");
    EXPECT_THAT(page, HasSubstr("<h1>A &amp; B</h1><p>3 files</p>"));
    EXPECT_THAT(page, HasSubstr("title=\"sub/two.jpg\""));
    EXPECT_THAT(page, HasSubstr("data:image/jpeg;base64,"));
    EXPECT_THAT(page, HasSubstr("<span class=\"facts\">0:02"));
    EXPECT_THAT(tool("sheet /no/folder x.html").err, HasSubstr("/no/folder: is no folder"));
}

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

TEST_F(ToolOnBus, EncodesToMP3)
{
    std::string wav = tone("a.wav", 3);
    Outcome one = tool("encode --bitrate 128 " + wav + " " + m_folder.file("a.mp3"));
    EXPECT_EQ(one.status, 0) << one.err;
    EXPECT_THAT(one.err, StartsWith("a.mp3: started\n"));
    EXPECT_THAT(one.err, testing::EndsWith("a.mp3: done\n"));
    EXPECT_EQ(test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name,sample_rate,channels,bit_rate "
                             "-of csv=p=0 "
                  + m_folder.file("a.mp3")),
        "mp3,44100,2,128000\n");
    test::run("mkdir " + m_folder.file("out"));
    Outcome several = tool(
        "encode --to " + m_folder.file("out") + " --mode mono " + wav + " " + tone("b.flac") + " " + tone("c.ogg"));
    EXPECT_EQ(several.status, 0) << several.err;
    for (const char* name : { "a.mp3", "b.mp3", "c.mp3" })
        EXPECT_EQ(access(m_folder.file(std::string("out/") + name).c_str(), F_OK), 0) << name;
}

TEST_F(ToolOnBus, EncodingFailuresAreSentences)
{
    std::string wav = tone("a.wav");
    Outcome nothing = tool("encode " + picture("a.png") + " " + m_folder.file("x.mp3"));
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.err, HasSubstr("the input is no audio file that can be decoded (code 1)"));
    EXPECT_THAT(tool("encode " + wav + " " + wav).err, HasSubstr("input and output are the same file"));
    EXPECT_THAT(tool("encode " + wav + " /no/folder/x.mp3").err, HasSubstr("there is no folder /no/folder"));
    EXPECT_THAT(tool("encode --to " + m_folder.path() + " " + wav + " " + tone("a.flac")).err,
        HasSubstr("two inputs would become"));
}

TEST_F(ToolOnBus, CtrlCCancelsAndLeavesNoOutput)
{
    pid_t child = startedLongEncoding();
    kill(child, SIGINT);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_EQ(WEXITSTATUS(status), 1);
    EXPECT_THAT(text("err"), testing::EndsWith("long.mp3: cancelled\n"));
    EXPECT_NE(access(m_folder.file("long.mp3").c_str(), F_OK), 0);
}

TEST_F(ToolWithoutBus, AKilledToolTakesItsServiceAndItsBusAlong)
{
    pid_t child = startedLongEncoding();
    std::string id = std::to_string(child);
    std::ifstream list("/proc/" + id + "/task/" + id + "/children");
    std::vector<pid_t> programs { std::istream_iterator<pid_t>(list), {} };
    ASSERT_EQ(programs.size(), 2u);
    kill(child, SIGKILL);
    waitpid(child, nullptr, 0);
    for (pid_t program : programs) {
        for (int i = 0; i < 2000 && isAlive(program); ++i)
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        EXPECT_FALSE(isAlive(program));
    }
}

TEST_F(ToolOnBus, ConvertsToAacWithTheTags)
{
    std::string song = made("a.m4a", "-f lavfi -i sine=duration=2 -ar 44100 -metadata title=Tone -c:a alac");
    Outcome fromM4A = tool("convert --bitrate 96 " + song + " " + m_folder.file("b.m4a"));
    EXPECT_EQ(fromM4A.status, 0) << fromM4A.err;
    EXPECT_THAT(fromM4A.err, testing::EndsWith("b.m4a: done\n"));
    EXPECT_THAT(tool("describe --json " + m_folder.file("b.m4a")).out, HasSubstr("\"Title\":\"Tone\""));
    Outcome fromFlac = tool("convert " + tone("c.flac") + " " + m_folder.file("c.m4a"));
    EXPECT_EQ(fromFlac.status, 0) << fromFlac.err;
    EXPECT_EQ(
        test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name -of csv=p=0 " + m_folder.file("c.m4a")),
        "aac\n");
    EXPECT_THAT(tool("describe --json " + m_folder.file("c.m4a")).out, HasSubstr("\"Title\":\"c\""));
    std::string mp3 = made("d.mp3", "-f lavfi -i sine=duration=2 -metadata title=Tone -metadata genre=Rock");
    EXPECT_EQ(tool("convert " + mp3 + " " + m_folder.file("d.m4a")).status, 0);
    std::string described = tool("describe --json " + m_folder.file("d.m4a")).out;
    EXPECT_THAT(described, HasSubstr("\"Title\":\"Tone\""));
    EXPECT_THAT(described, HasSubstr("\"Genre\":\"Rock\""));
    EXPECT_THAT(tool("convert " + song + " " + song).err, HasSubstr("input and output are the same file"));
    Outcome nothing = tool("convert " + picture("a.png") + " " + m_folder.file("x.m4a"));
    EXPECT_EQ(nothing.status, 1);
    EXPECT_THAT(nothing.err, HasSubstr("mivo convert: " + m_folder.file("a.png") + ": "));
}

TEST_F(ToolOnBus, ExportsMovies)
{
    std::string movie = made("v.mov", "-f lavfi -i testsrc=size=160x120:duration=2 -c:v mpeg4");
    Outcome exported = tool("export " + movie + " " + m_folder.file("v.mp4"));
    EXPECT_EQ(exported.status, 0) << exported.err;
    EXPECT_EQ(access(m_folder.file("v.mp4").c_str(), F_OK), 0);
    Outcome nothing = tool("export " + picture("a.png") + " " + m_folder.file("x.mp4"));
    EXPECT_EQ(nothing.status, 1);
    EXPECT_EQ(access(m_folder.file("x.mp4").c_str(), F_OK), -1);
}

} // namespace
} // namespace mv::cli
