// Standard output that cannot be written, interruptions, and lists that are still being written.
#include "tests/cli/ToolFixture.h"

#include <csignal>
#include <poll.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;

std::string readLine(int fd)
{
    std::string line;
    for (char byte = 0; !line.ends_with('\n') && read(fd, &byte, 1) == 1;)
        line += byte;
    return line;
}

class ToolStreams : public ToolOnBus {
protected:
    /// Every command that writes to standard output, with what it needs.
    std::vector<std::string> talkingCommands()
    {
        std::string song = made("a.m4a", "-f lavfi -i sine=duration=1 -metadata title=T -c:a aac");
        std::string png = picture("a.png");
        return { "--help", "--version", "help tag", "describe " + png, "describe --record " + png,
            "describe --json " + png, "describe --format json " + png, "describe --format csv " + png,
            "describe " + png + " /no/x", "dump " + song, "tag " + song, "tag --title X " + song, "status",
            "status --json", "thumbnail --show --protocol kitty " + png, "thumbnail " + png + " -",
            "sheet " + m_folder.path() + " -" };
    }
    Outcome withOutput(const std::string& words, const std::string& redirection)
    {
        std::string command = test::shellQuoted(kTool) + " " + words + " " + redirection + " 2>"
            + test::shellQuoted(m_logs.file("err"));
        int status = std::system(command.c_str());
        return { WEXITSTATUS(status), "", text("err") };
    }
};

TEST_F(ToolStreams, AFullOutputIsAnErrorOfEveryCommand)
{
    for (const std::string& words : talkingCommands()) {
        Outcome outcome = withOutput(words, ">/dev/full");
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.err, HasSubstr("No space left on device")) << words;
    }
}

TEST_F(ToolStreams, AClosedOutputIsAnErrorOfEveryCommand)
{
    for (const std::string& words : talkingCommands()) {
        Outcome outcome = withOutput(words, ">&-");
        EXPECT_EQ(outcome.status, 1) << words;
        EXPECT_THAT(outcome.err, HasSubstr("cannot be written")) << words;
    }
}

TEST_F(ToolStreams, WhoWritesNothingNeedsNoOutput)
{
    std::string png = picture("a.png");
    EXPECT_EQ(withOutput("thumbnail " + png + " " + m_folder.file("t.png"), ">&-").status, 0);
    EXPECT_EQ(withOutput("thumbnail " + png + " " + m_folder.file("t.png"), "<&- >&- 2>&-").status, 0);
    EXPECT_EQ(withOutput("sheet " + m_folder.path() + " " + m_logs.file("p.html"), ">/dev/full").status, 0);
}

TEST_F(ToolStreams, AReaderThatGoesAwayEndsADescriptionQuietly)
{
    std::string png = picture("a.png");
    Running running = startTool({ "describe", "--json", "--files-from", "-" });
    std::string line = m_folder.file("a.png") + "\n";
    ASSERT_EQ(write(running.in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    EXPECT_THAT(readLine(running.out), HasSubstr("\"FileName\":\"a.png\""));
    close(running.out);
    // The list stays open: it is the next answer that finds nobody.
    ASSERT_EQ(write(running.in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    EXPECT_EQ(waitFor(running.process), 1);
    close(running.in);
    EXPECT_EQ(text("err"), "");
}

TEST_F(ToolStreams, NamesAreDescribedWhileTheListIsBeingWritten)
{
    for (const char* name : { "a.png", "b.png", "c.png" })
        picture(name);
    Running running = startTool({ "describe", "--json", "--files-from", "-" });
    for (const char* name : { "a.png", "b.png", "c.png" }) {
        std::string line = m_folder.file(name) + "\n";
        ASSERT_EQ(write(running.in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
        EXPECT_THAT(readLine(running.out), HasSubstr(std::string("\"FileName\":\"") + name + "\""));
    }
    close(running.in);
    EXPECT_EQ(readLine(running.out), "");
    EXPECT_EQ(waitFor(running.process), 0);
    close(running.out);
}

/// A pipe holds less than one of these lines, so that the tool is in the middle of one when it is interrupted.
TEST_F(ToolStreams, AnInterruptionNeverCutsALine)
{
    std::string png = picture("a.png");
    std::string list;
    for (int i = 0; i < 400; ++i)
        list += m_folder.file("a.png") + "\n";
    std::string listed = m_logs.write("list", list);
    for (int signal : { SIGINT, SIGTERM, SIGHUP }) {
        Running running = startTool({ "describe", "--json", "--pictures", "--files-from", listed });
        // Some of the first line: the tool is at work on it, and the pipe behind it is full.
        char byte = 0;
        ASSERT_EQ(read(running.out, &byte, 1), 1);
        kill(running.process, signal);
        std::string rest(1, byte);
        std::array<char, 65536> buffer;
        for (ssize_t got = 0; (got = read(running.out, buffer.data(), buffer.size())) > 0;)
            rest.append(buffer.data(), static_cast<std::size_t>(got));
        EXPECT_EQ(waitFor(running.process), 130);
        EXPECT_THAT(rest, testing::EndsWith("}\n"));
        EXPECT_LT(std::count(rest.begin(), rest.end(), '\n'), 400);
        close(running.in);
        close(running.out);
    }
}

TEST_F(ToolStreams, AnInterruptedWaitEndsAtOnce)
{
    Running running = startTool({ "describe", "--files-from", "-" });
    std::string line = "/no/such\n";
    ASSERT_EQ(write(running.in, line.data(), line.size()), static_cast<ssize_t>(line.size()));
    ASSERT_TRUE(test::eventually([&] { return !text("err").empty(); }));
    kill(running.process, SIGINT);
    EXPECT_EQ(waitFor(running.process), 130);
    close(running.in);
    close(running.out);
}

TEST_F(ToolStreams, AnInterruptedListOfTagsWritesNothingMore)
{
    std::string song = made("a.m4a", "-f lavfi -i sine=duration=1 -c:a aac");
    Running running = startTool({ "tag", "--from-json", "-" });
    auto write = [&](const std::string& title) {
        std::string line = "{\"path\":\"" + m_folder.file("a.m4a") + "\",\"xesam:title\":\"" + title + "\"}\n";
        return ::write(running.in, line.data(), line.size()) == static_cast<ssize_t>(line.size());
    };
    ASSERT_TRUE(write("Before"));
    auto titleOf
        = [&] { return test::outputOf("ffprobe -loglevel error -show_entries format_tags=title -of csv=p=0 " + song); };
    EXPECT_TRUE(test::eventually([&] { return titleOf() == "Before\n"; }));
    EXPECT_THAT(readLine(running.out), HasSubstr("a.m4a")) << "it does not wait for the next line";
    // Stopped, it sees both at once: what came with the signal is not written.
    kill(running.process, SIGSTOP);
    kill(running.process, SIGINT);
    ASSERT_TRUE(write("After"));
    kill(running.process, SIGCONT);
    EXPECT_EQ(waitFor(running.process), 130);
    close(running.in);
    close(running.out);
    EXPECT_EQ(titleOf(), "Before\n");
}

TEST_F(ToolOnBus, RecordsOfNoKnownKindAreFailures)
{
    std::string notes = m_folder.write("notes.txt", std::string_view("nothing to see"));
    Outcome described = tool("describe --record " + notes + " " + picture("a.png"));
    EXPECT_EQ(described.status, 1);
    EXPECT_EQ(described.err, "mivo describe: " + notes + ": is a file of no known kind\n");
    EXPECT_THAT(described.out, testing::StartsWith(m_folder.file("a.png") + "\n"));
    EXPECT_EQ(tool("describe --json " + notes).out,
        "{\"path\":\"" + notes + "\",\"error\":\"is a file of no known kind\"}\n");
    // A kind without a code of its own is known when its content is.
    EXPECT_EQ(
        tool("describe --record " + made("a.mkv", "-f lavfi -i testsrc=size=64x48:duration=1 -c:v mpeg4")).status, 0);
    EXPECT_EQ(tool("describe --record " + picture("a.tif")).status, 0);
}

TEST_F(ToolOnBus, PathsInJsonAreThoseOfTheCommandLine)
{
    picture("a.png");
    std::string here = "cd " + m_folder.path() + " && ";
    EXPECT_THAT(tool("describe --json a.png ./a.png none", here).out,
        testing::ContainsRegex(
            "^\\{\"path\":\"a.png\",.*\n\\{\"path\":\"./a.png\",.*\n\\{\"path\":\"none\",\"error\":.*\n$"));
    for (const char* command : { "exif", "podcast", "dump" })
        EXPECT_THAT(tool(std::string(command) + " --json ./a.png", here).out,
            testing::StartsWith("{\"path\":\"./a.png\",\"error\":\""))
            << command;
}

TEST_F(ToolWithoutBus, WithoutAServiceTheStatusIsThree)
{
    std::string png = picture("a.png");
    // No bus can be started either.
    std::string poor = "PATH=/nowhere";
    for (std::string words : { "describe --json " + png, "describe --format jsonl " + png, "exif --json " + png }) {
        Outcome outcome = tool(words, poor);
        EXPECT_EQ(outcome.status, 3) << words;
        EXPECT_THAT(outcome.out, testing::StartsWith("{\"path\":\"" + m_folder.file("a.png") + "\",\"error\":\""))
            << words;
    }
    for (std::string words : { "tag " + png, "thumbnail " + png + " " + m_folder.file("t.png"),
             "sheet " + m_folder.path() + " " + m_logs.file("p.html"), "encode " + png + " " + m_folder.file("x.mp3"),
             "convert " + png + " " + m_folder.file("x.m4a"), "export " + png + " " + m_folder.file("x.mp4") })
        EXPECT_EQ(tool(words, poor).status, 3) << words;
}

TEST_F(ToolOnBus, ColoursAreForTerminalsThatWantThem)
{
    if (!test::haveProgram("script"))
        GTEST_SKIP() << "script is not here";
    std::string png = picture("a.png");
    auto onTerminal = [&](const std::string& environment) {
        std::string inner = environment + " " + test::shellQuoted(kTool) + " describe " + png;
        return test::outputOf("script -qec " + test::shellQuoted(inner) + " /dev/null </dev/null");
    };
    EXPECT_THAT(onTerminal("TERM=xterm NO_COLOR="), HasSubstr("\033[1m"));
    EXPECT_THAT(onTerminal("TERM=xterm NO_COLOR=1"), testing::Not(HasSubstr("\033[")));
    EXPECT_THAT(onTerminal("TERM=dumb NO_COLOR="), testing::Not(HasSubstr("\033[")));
}

} // namespace
} // namespace mv::cli
