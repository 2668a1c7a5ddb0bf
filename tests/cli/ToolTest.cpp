// What every command has in common, and descriptions.
#include "cli/Help.h"
#include "tests/cli/ToolFixture.h"
#include "tests/support/ActivatingBus.h"

#include <sstream>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

TEST_F(ToolTest, HelpNamesEveryCommand)
{
    Outcome help = tool("--help");
    EXPECT_EQ(help.status, 0);
    for (const char* name : { "describe", "index", "exif", "thumbnail", "sheet", "tag", "podcast", "encode", "convert",
             "export", "dump", "status", "quit" }) {
        EXPECT_THAT(help.out, HasSubstr(std::string("\n  ") + name + " "));
        Outcome own = tool(std::string(name) + " --help");
        EXPECT_EQ(own.status, 0) << name;
        EXPECT_THAT(own.out, StartsWith(std::string("Usage: mivo ") + name)) << name;
        EXPECT_EQ(own.err, "") << name;
        EXPECT_EQ(tool(std::string(name) + " -h").out, own.out);
        EXPECT_EQ(tool(std::string("help ") + name).out, own.out);
    }
    EXPECT_EQ(tool("-h").out, help.out);
    EXPECT_EQ(tool("help").out, help.out);
    for (const char* words : { "--version", "-V", "describe --version", "encode -V" }) {
        Outcome version = tool(words);
        EXPECT_EQ(version.status, 0) << words;
        EXPECT_EQ(version.out, "mivo 1.3.0\n") << words;
    }
}

TEST_F(ToolTest, HelpNamesEveryExitStatus)
{
    std::string help = tool("--help").out;
    for (const ExitStatusRow& row : ExitStatuses)
        EXPECT_THAT(help, HasSubstr("\n  " + std::to_string(static_cast<int>(row.status)) + " "));
}

TEST(Help, HasNoHolesAndFitsATerminal)
{
    constexpr std::size_t Widest = 110;
    for (const Command* command : allCommands()) {
        EXPECT_NE(std::string_view(command->summary), "") << command->name;
        for (const Option& option : command->options)
            EXPECT_NE(std::string_view(option.help), "") << command->name << " --" << option.name;
        std::istringstream lines(helpText(*command));
        for (std::string line; std::getline(lines, line);)
            EXPECT_LE(line.size(), Widest) << line;
    }
}

TEST_F(ToolTest, HelpSaysHowToDescribeAFolder)
{
    EXPECT_THAT(
        tool("help describe").out, HasSubstr("find FOLDER -type f -print0 | mivo describe --null --files-from -"));
}

TEST_F(ToolTest, MisuseIsToldBeforeAnythingStarts)
{
    struct Slip {
        const char* words;
        const char* sentence;
    };
    const Slip Slips[] = {
        { "discribe x", "mivo: there is no command \"discribe\"; did you mean \"describe\"?\n" },
        { "xyzzy", "mivo: there is no command \"xyzzy\"\n" },
        { "help discribe", "mivo: there is no command \"discribe\"; did you mean \"describe\"?\n" },
        { "describe --jsn x", "mivo describe: there is no option --jsn; did you mean --json?\n" },
        { "describe -j x", "mivo describe: there is no option -j\n" },
        { "describe", "mivo describe: which file?\n" },
        { "describe --null x", "mivo describe: --null is about the list of --files-from, and there is none\n" },
        { "describe --pictures x", "mivo describe: --pictures goes with --json\n" },
        { "exif", "mivo exif: there is a file name missing\n" },
        { "status x", "mivo status: there are too many file names\n" },
        { "convert a b c", "mivo convert: there are too many file names\n" },
        { "convert --bitrate 0 a b", "mivo convert: --bitrate takes a whole number from 1 to 256, not \"0\"\n" },
        { "convert --force --no-clobber a b", "mivo convert: --force and --no-clobber contradict each other\n" },
        { "thumbnail a.png", "mivo thumbnail: where shall the thumbnail go? Name a file, or say --show.\n" },
        { "thumbnail a.png b.gif", "mivo thumbnail: b.gif: the name must end in .tif, .png or .jpg\n" },
        { "thumbnail --size 5 a.png b.png", "mivo thumbnail: --size takes WIDTHxHEIGHT, such as 320x240\n" },
        { "thumbnail --size 9x9 a.mp3 b.png", "mivo thumbnail: --size and --category are for picture files only\n" },
        { "thumbnail --show --protocol vt52 a.png", "mivo thumbnail: --protocol is one of: kitty, iterm, sixel\n" },
        { "encode a", "mivo encode: name an input and an output, or a folder with --to\n" },
        { "encode --to x a/b.wav c/b.wav", "mivo encode: two inputs would become x/b.mp3\n" },
        { "encode --mode setreo a b", "mivo encode: --mode is one of: mono, stereo, joint; did you mean stereo?\n" },
        { "encode --bitrate 9999 a b", "mivo encode: --bitrate takes a whole number from 8 to 320, not \"9999\"\n" },
        { "tag --clear titel x", "mivo tag: --clear is one of: title, artist, album," },
        { "tag --track 4/3 x", "mivo tag: --track 4/3: there is no 4 among 3\n" },
    };
    for (const Slip& slip : Slips) {
        Outcome outcome = tool(slip.words);
        EXPECT_EQ(outcome.status, 2) << slip.words;
        EXPECT_EQ(outcome.out, "") << slip.words;
        EXPECT_THAT(outcome.err, StartsWith(slip.sentence)) << slip.words;
        EXPECT_THAT(outcome.err, testing::EndsWith("--help\".\n")) << slip.words;
    }
    EXPECT_EQ(tool("").status, 2);
}

TEST_F(ToolWithoutBus, StartsAPrivateServiceAndEndsIt)
{
    Outcome described = tool("describe --json " + picture("a.png"));
    EXPECT_EQ(described.status, 0) << described.err;
    EXPECT_THAT(described.out, HasSubstr("\"FileTypeString\":\"PNG\""));
    EXPECT_EQ(described.err, "");
    EXPECT_EQ(tool("status").err, "mivo status: there is no session bus, so no service runs on it\n");
    EXPECT_EQ(tool("status").status, 3);
    EXPECT_EQ(tool("quit").err, "mivo quit: the service does not run\n");
}

TEST_F(ToolWithoutBus, ASayingServiceIsHeardWithLog)
{
    Outcome quiet
        = tool("describe --record " + test::shellQuoted(m_folder.write("a.m4a", std::string_view("no movie"))));
    EXPECT_EQ(quiet.status, 1);
    EXPECT_THAT(quiet.err, testing::Not(HasSubstr("MP4Parser file open fail")));
    Outcome loud = tool("describe --record --log " + test::shellQuoted(m_folder.file("a.m4a")));
    EXPECT_THAT(loud.err, HasSubstr("MP4Parser file open fail"));
}

TEST_F(ToolOnBus, TheServiceIsStartedOnceSeenAndQuit)
{
    Outcome before = tool("status");
    EXPECT_EQ(before.status, 3);
    EXPECT_THAT(before.out, HasSubstr("MivoMP3Parser_1.3.0.12062         not running\n"));
    EXPECT_EQ(before.err, "mivo status: 9 of 9 services do not run\n");
    EXPECT_EQ(tool("describe " + picture("a.png")).status, 0);
    Outcome status = tool("status");
    EXPECT_EQ(status.status, 0) << status.err;
    EXPECT_THAT(status.out, testing::ContainsRegex("MivoBasicAudioParser_1.3.0.12062  process [0-9]+, up [0-9:]+\n"));
    EXPECT_THAT(tool("status --json").out,
        testing::ContainsRegex(
            "\\{\"service\":\"MivoAVParser_1.3.0.12062\",\"running\":true,\"pid\":[0-9]+,\"uptime\":[0-9]+\\}\n"));
    EXPECT_EQ(tool("describe " + test::shellQuoted(m_folder.file("a.png"))).status, 0);
    EXPECT_EQ(tool("status").out.substr(0, 50), status.out.substr(0, 50));
    EXPECT_EQ(tool("quit").status, 0);
    EXPECT_EQ(tool("status").status, 3);
    EXPECT_EQ(tool("quit").status, 3);
}

TEST_F(ToolTest, WhereTheBusStartsTheServiceItIsThereWhenItIsCalled)
{
    test::ActivatingBus bus;
    Outcome before = tool("status");
    EXPECT_EQ(before.status, 0) << before.err;
    EXPECT_THAT(before.out, HasSubstr("MivoMP3Parser_1.3.0.12062         not running, starts when it is called\n"));
    EXPECT_THAT(tool("status --json").out,
        HasSubstr("{\"service\":\"MivoAVParser_1.3.0.12062\",\"running\":false,\"startsWhenCalled\":true}\n"));
    EXPECT_EQ(tool("quit").status, 3);
    EXPECT_EQ(bus.starts(), 0) << "who looks or quits starts nothing";
    EXPECT_EQ(tool("describe " + picture("a.png")).status, 0);
    EXPECT_EQ(bus.starts(), 1);
    EXPECT_THAT(tool("status").out, testing::ContainsRegex("MivoMP3Parser_1.3.0.12062         process [0-9]+, up"));
    EXPECT_EQ(tool("quit").status, 0);
    EXPECT_THAT(tool("status").out, testing::Not(HasSubstr("process")));
    EXPECT_EQ(tool("describe " + test::shellQuoted(m_folder.file("a.png"))).status, 0);
    EXPECT_EQ(bus.starts(), 2);
    EXPECT_EQ(tool("quit").status, 0);
}

TEST_F(ToolOnBus, DescribesInTheOrderOfTheFiles)
{
    std::string png = picture("a.png");
    std::string wav = tone("b.wav");
    std::string gif = picture("c.gif");
    Outcome described = tool("describe --json " + wav + " /no/such.mp3 " + png + " " + gif);
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.err, "mivo describe: /no/such.mp3: there is no such file\n");
    EXPECT_THAT(described.out, HasSubstr("\n{\"path\":\"/no/such.mp3\",\"error\":\"there is no such file\"}\n"));
    auto at = [&](const char* text) { return described.out.find(text); };
    EXPECT_LT(at("\"FileName\":\"b.wav\""), at("\"error\":\"there is no such file\""));
    EXPECT_LT(at("\"error\":\"there is no such file\""), at("\"FileName\":\"a.png\""));
    EXPECT_LT(at("\"FileName\":\"a.png\""), at("\"FileName\":\"c.gif\""));
    EXPECT_NE(at("\"FileName\":\"c.gif\""), std::string::npos);
    EXPECT_EQ(std::count(described.out.begin(), described.out.end(), '\n'), 4);
}

TEST_F(ToolOnBus, DescribesRecordsForPeople)
{
    std::string png = picture("a.png");
    Outcome described = tool("describe --record " + png);
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
    Outcome lines = tool("describe --json --files-from - <" + test::shellQuoted(m_folder.file("lines")));
    EXPECT_EQ(lines.status, 0) << lines.err;
    EXPECT_THAT(lines.out, HasSubstr("\"FileName\":\"a.png\""));
    Outcome zeros = tool("describe --json --null --files-from " + test::shellQuoted(m_folder.file("zeros")));
    EXPECT_EQ(zeros.status, 0) << zeros.err;
    EXPECT_THAT(zeros.out, HasSubstr("\"FileName\":\"b\\nc.png\""));
    EXPECT_EQ(tool("describe --files-from /dev/null").status, 0);
    EXPECT_THAT(tool("describe --files-from /no/list").err, HasSubstr("the list cannot be read"));
}

TEST_F(ToolOnBus, BadFilesOfRecordsGetAReasonEach)
{
    std::string fifo = m_folder.file("fifo.mp3");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    m_folder.write("empty.jpg", std::string_view());
    m_folder.write("text.png", std::string_view("no picture"));
    std::string bad = m_folder.file("caf\xe9.mp3");
    Outcome described = tool("describe --record " + fifo + " " + m_folder.path() + " " + m_folder.file("empty.jpg")
        + " " + m_folder.file("text.png") + " " + test::shellQuoted(bad) + " ''");
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.out, "");
    std::string folder = m_folder.path();
    EXPECT_EQ(described.err,
        "mivo describe: " + folder + "/fifo.mp3: is not a regular file\n" + "mivo describe: " + folder
            + ": is a folder; to describe what is in it: "
              "find FOLDER -type f -print0 | mivo describe --null --files-from -\n"
            + "mivo describe: " + folder + "/empty.jpg: is no file that the service can describe\n" + "mivo describe: "
            + folder + "/text.png: is no file that the service can describe\n" + "mivo describe: " + folder
            + "/caf\\xe9.mp3: the name is not UTF-8, and the service takes no other; rename the file first\n"
            + "mivo describe: : an empty name is no file\n");
}

} // namespace
} // namespace mv::cli
