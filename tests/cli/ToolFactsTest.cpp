// Descriptions as facts: forms, fields, conditions, folders, lists, names of any bytes.
#include "tests/cli/ToolFixture.h"

#include <csignal>
#include <filesystem>

namespace mv::cli {
namespace {

using testing::EndsWith;
using testing::HasSubstr;
using testing::StartsWith;

class ToolFacts : public ToolOnBus {
protected:
    std::string song(const std::string& name, const std::string& title, int seconds = 2)
    {
        return made(name,
            "-f lavfi -i sine=frequency=440:duration=" + std::to_string(seconds)
                + " -metadata title=" + test::shellQuoted(title) + " -metadata artist=Somebody -ac 2 -ar 44100");
    }
    std::string names(const std::string& options)
    {
        Outcome listed = tool("describe --format tsv --fields path " + options);
        EXPECT_EQ(listed.err, "");
        std::string text = listed.out;
        for (auto at = text.find(m_folder.path() + "/"); at != std::string::npos; at = text.find(m_folder.path() + "/"))
            text.erase(at, m_folder.path().size() + 1);
        return text;
    }
};

TEST_F(ToolFacts, DescribesForPeople)
{
    Outcome described = tool("describe " + song("a.flac", "First Tone") + " " + picture("b.png"));
    EXPECT_EQ(described.status, 0) << described.err;
    EXPECT_THAT(described.out,
        StartsWith(m_folder.file("a.flac") + "\n  title           First Tone\n  artist          Somebody\n"));
    EXPECT_THAT(described.out,
        HasSubstr("\n  length          0:02\n  audioCodec      flac\n  sampleRate      44.1 kHz\n"
                  "  channels        2 (stereo)\n  bitsPerSample   16 bits\n"));
    EXPECT_THAT(described.out, HasSubstr("\n\n" + m_folder.file("b.png") + "\n  width           64 pixels\n"));
}

TEST_F(ToolFacts, EveryFormHasTheChosenFields)
{
    std::string files = song("a.flac", "Say \"x\",\n=1") + " " + picture("b.png");
    auto written = [&](const std::string& form) {
        Outcome outcome = tool("describe --fields title,xesam:artist,width --format " + form + " " + files);
        EXPECT_EQ(outcome.status, 0) << outcome.err;
        return outcome.out;
    };
    std::string first = "{\"path\":\"" + m_folder.file("a.flac")
        + "\",\"xesam:title\":\"Say \\\"x\\\",\\n=1\",\"xesam:artist\":[\"Somebody\"]}";
    std::string second = "{\"path\":\"" + m_folder.file("b.png") + "\",\"mivo:width\":64}";
    EXPECT_EQ(written("jsonl"), first + "\n" + second + "\n");
    EXPECT_EQ(written("json"), "[\n" + first + ",\n" + second + "\n]\n");
    EXPECT_EQ(written("csv"), "title,xesam:artist,width\r\n\"Say \"\"x\"\",\n=1\",Somebody,\r\n,,64\r\n");
    EXPECT_EQ(written("tsv"), "title\txesam:artist\twidth\nSay \"x\",\\n=1\tSomebody\t\n\t\t64\n");
    EXPECT_EQ(written("text"),
        m_folder.file("a.flac") + "\n  title           Say \"x\",\\n=1\n  artist          Somebody\n\n"
            + m_folder.file("b.png") + "\n  width           64 pixels\n");
}

TEST_F(ToolFacts, JsonHasWholeKeysAndTypes)
{
    std::string described = tool("describe --format jsonl " + song("a.flac", "T")).out;
    EXPECT_THAT(described, StartsWith("{\"path\":\"" + m_folder.file("a.flac") + "\",\"mivo:kind\":\"audio\","));
    EXPECT_THAT(described, HasSubstr("\"xesam:url\":\"file://" + m_folder.file("a.flac") + "\""));
    EXPECT_THAT(described, HasSubstr("\"mpris:length\":2000000,"));
    EXPECT_THAT(described, HasSubstr("\"mivo:hasPicture\":false"));
    if (test::haveProgram("python3")) {
        std::string parse = " | python3 -c 'import json,sys; print(len(json.load(sys.stdin)))'";
        EXPECT_EQ(test::outputOf(test::shellQuoted(kTool) + " describe --format json "
                      + test::shellQuoted(m_folder.file("a.flac")) + " /no/such 2>&- " + parse),
            "2\n");
    }
}

TEST_F(ToolFacts, OnlyFilesForWhichTheConditionHolds)
{
    std::string files = song("a.flac", "First") + " " + song("b.wav", "Second", 5) + " " + picture("c.png");
    EXPECT_EQ(names("--where 'length>3s' " + files), "path\nb.wav\n");
    EXPECT_EQ(names("--where 'title~FIRST or width=64' " + files), "path\na.flac\nc.png\n");
    EXPECT_EQ(names("--where '!title' " + files), "path\nc.png\n");
    Outcome none = tool("describe --where 'artist=Nobody' " + files);
    EXPECT_EQ(none.status, 0);
    EXPECT_EQ(none.out + none.err, "");
    EXPECT_EQ(tool("describe --format json --where 'artist=Nobody' " + files).out, "[\n\n]\n");
}

TEST_F(ToolFacts, FoldersInOrderWithoutLinksAndHiddenOnes)
{
    for (const char* folder : { "m", "m/b", "m/.hidden" })
        std::filesystem::create_directory(m_folder.file(folder));
    for (const char* name : { "m/b/2.png", "m/b.png", "m/a.png", "m/.x.png", "m/.hidden/y.png" })
        picture(name);
    m_folder.write("m/notes.txt", std::string_view("words"));
    std::filesystem::create_directory_symlink(m_folder.file("m/b"), m_folder.file("m/link"));
    std::filesystem::create_symlink(m_folder.file("m/a.png"), m_folder.file("m/z.png"));
    EXPECT_EQ(names("-r " + m_folder.file("m/")), "path\nm/a.png\nm/b/2.png\nm/b.png\nm/z.png\n");
    EXPECT_EQ(
        names("--recursive " + m_folder.file("m/b") + " " + m_folder.file("m/a.png")), "path\nm/b/2.png\nm/a.png\n");
    EXPECT_EQ(tool("describe -r --json " + m_folder.file("m/b")).status, 0);
    Outcome notes = tool("describe -r " + m_folder.file("m/notes.txt"));
    EXPECT_EQ(notes.status, 1) << "what is named is told of, too, when it is no media";
}

TEST_F(ToolFacts, BadFilesGetAReasonEach)
{
    std::string fifo = m_folder.file("fifo.mp3");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    m_folder.write("empty.jpg", std::string_view());
    std::string folder = m_folder.path();
    Outcome described
        = tool("describe --format jsonl " + fifo + " " + folder + " " + m_folder.file("empty.jpg") + " /no/such ''");
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.err,
        "mivo describe: " + folder + "/fifo.mp3: is not a regular file\n" + "mivo describe: " + folder
            + ": is a folder; -r describes what is in it\n" + "mivo describe: " + folder
            + "/empty.jpg: is no audio, video or picture file\n" + "mivo describe: /no/such: there is no such file\n"
            + "mivo describe: : an empty name is no file\n");
    EXPECT_THAT(described.out,
        HasSubstr("{\"path\":\"/no/such\",\"error\":\"there is no such file\","
                  "\"mivo:error\":\"Mivo.Media1.Error.NotFound\"}\n"));
    EXPECT_EQ(std::count(described.out.begin(), described.out.end(), '\n'), 5);
    EXPECT_EQ(tool("describe --format csv --fields path /no/such").out, "path\r\n");
}

TEST_F(ToolFacts, NamesOfAnyBytes)
{
    std::string odd = m_folder.file("caf\xe9 \xff.png");
    picture("a.png");
    std::filesystem::copy_file(m_folder.file("a.png"), odd);
    Outcome described = tool("describe --format jsonl --fields url,width " + test::shellQuoted(odd));
    EXPECT_EQ(described.status, 0) << described.err;
    EXPECT_EQ(described.out,
        "{\"path\":\"" + m_folder.path() + "/caf\xef\xbf\xbd \xef\xbf\xbd.png\",\"xesam:url\":\"file://"
            + m_folder.path() + "/caf%E9%20%FF.png\",\"mivo:width\":64}\n");
    EXPECT_THAT(tool("describe " + test::shellQuoted(odd)).out, StartsWith(m_folder.path() + "/caf\\xe9 \\xff.png\n"));
    EXPECT_EQ(tool("describe " + test::shellQuoted(m_folder.file("\xe9"))).err,
        "mivo describe: " + m_folder.path() + "/\\xe9: there is no such file\n");
    std::string fifo = m_folder.file("f\xe9");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_THAT(tool("describe " + test::shellQuoted(fifo)).err, EndsWith("f\\xe9: is not a regular file\n"));
}

TEST_F(ToolFacts, ManyFilesComeInTheirOrder)
{
    picture("a.png");
    std::string list;
    std::string expected = "path\n";
    for (int i = 0; i < 1500; ++i) {
        std::string name = "n" + std::to_string(i) + ".png";
        std::filesystem::create_hard_link(m_folder.file("a.png"), m_folder.file(name));
        list += m_folder.file(name) + "\n";
        expected += name + "\n";
    }
    std::string listed = m_logs.write("list", list);
    EXPECT_EQ(names("--jobs 3 --files-from " + listed), expected);
    EXPECT_EQ(names("--jobs 1 --files-from - <" + listed), expected);
}

TEST_F(ToolFacts, EachNameOfAListIsDescribedAtOnce)
{
    picture("a.png");
    Running running = startTool({ "describe", "--format", "jsonl", "--fields", "width", "--files-from", "-" });
    for (int i = 0; i < 3; ++i) {
        // The beginning of the next name is there, too, and its end is not.
        std::string line = (i == 0 ? m_folder.file("a") : "") + ".png\n" + m_folder.file("a");
        ASSERT_EQ(write(running.in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
        std::string answer;
        for (char byte = 0; byte != '\n' && read(running.out, &byte, 1) == 1;)
            answer += byte;
        EXPECT_THAT(answer, HasSubstr("\"mivo:width\":64"));
    }
    kill(running.process, SIGINT);
    EXPECT_EQ(waitFor(running.process), 130);
    close(running.in);
    close(running.out);
}

TEST_F(ToolFacts, AReaderThatGoesAwayEndsItQuietly)
{
    picture("a.png");
    std::string yes = "yes " + test::shellQuoted(m_folder.file("a.png")) + " | ";
    std::string command = yes + test::shellQuoted(kTool) + " describe --format tsv --fields width --files-from - 2>"
        + m_logs.file("err") + " | head -3";
    EXPECT_EQ(test::outputOf(command), "width\n64\n64\n");
    EXPECT_EQ(text("err"), "");
}

TEST_F(ToolTest, SlipsOfFactsAreToldBeforeAnythingStarts)
{
    struct Slip {
        const char* words;
        const char* sentence;
    };
    const Slip Slips[] = {
        { "--fields artits x", "--fields: there is no field \"artits\"; did you mean artist?" },
        { "--where 'bitrate<' x", "--where: at character 9: a value is missing" },
        { "--format xml x", "--format is one of: text, json, jsonl, csv, tsv" },
        { "--formula-safe x", "--formula-safe goes with --format csv" },
        { "--jobs 0 x", "--jobs takes a whole number from 1 to 64, not \"0\"" },
        { "--json --where title x", "--where is about facts, and --record and --json show the classic record" },
        { "--record --format csv x", "--format is about facts" },
        { "--record --pictures x", "--pictures goes with --json" },
    };
    for (const Slip& slip : Slips) {
        Outcome outcome = tool(std::string("describe ") + slip.words);
        EXPECT_EQ(outcome.status, 2) << slip.words;
        EXPECT_THAT(outcome.err, StartsWith(std::string("mivo describe: ") + slip.sentence)) << slip.words;
    }
}

} // namespace
} // namespace mv::cli
