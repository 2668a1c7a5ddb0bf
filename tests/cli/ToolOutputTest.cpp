// Where output goes: files, links, devices and pipes. Devices are nodes that a test makes for itself in a file system
// of its own, which only its own processes see.
#include "cli/JobFolder.h"
#include "tests/cli/ToolFixture.h"

#include <sys/stat.h>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

class ToolOutput : public ToolOnBus {
protected:
    std::string shell(const std::string& script)
    {
        std::string command = "unshare --mount --propagation private sh -ec "
            + test::shellQuoted("mount -t tmpfs none " + m_devices.path() + " && cd " + m_devices.path()
                + " && mknod full c 1 7 && mknod null c 1 3 && " + script);
        int status = std::system((command + " >" + test::shellQuoted(m_logs.file("shell")) + " 2>&1").c_str());
        return text("shell") + "exit " + std::to_string(WEXITSTATUS(status)) + "\n";
    }
    bool canMakeDevices()
    {
        return geteuid() == 0 && shell("test -c full && ! echo x 2>/dev/null >full") == "exit 0\n";
    }

    test::ScratchFolder m_devices;
};

#define NEEDS_DEVICES()                                                                                                \
    if (!canMakeDevices())                                                                                             \
    GTEST_SKIP() << "devices of one's own need root and a mount namespace"

TEST_F(ToolOutput, DevicesAreWrittenToAndStayDevices)
{
    NEEDS_DEVICES();
    std::string png = picture("a.png");
    std::string wav = tone("a.wav");
    std::string movie = made("v.mov", "-f lavfi -i testsrc=size=160x120:duration=1 -c:v mpeg4");
    std::string mivo = test::shellQuoted(kTool);
    for (std::string words : { "sheet " + m_folder.path(), "thumbnail " + png, "encode --force " + wav,
             "convert --force " + wav, "export --force " + movie }) {
        EXPECT_THAT(shell(mivo + " " + words + " $PWD/full || echo status $?; test -c full && echo still"),
            HasSubstr("No space left on device\nstatus 1\nstill\nexit 0"))
            << words;
        EXPECT_THAT(shell(mivo + " " + words + " $PWD/null && test -c null && echo still"), HasSubstr("still\nexit 0"))
            << words;
        // Through a link as well.
        EXPECT_THAT(shell("ln -s null link; " + mivo + " " + words
                        + " $PWD/link && test -L link && test -c null && echo still"),
            HasSubstr("still\nexit 0"))
            << words;
    }
}

TEST_F(ToolOutput, DisksAreRefused)
{
    NEEDS_DEVICES();
    EXPECT_THAT(shell("mknod disk b 240 0 && " + test::shellQuoted(kTool) + " sheet " + m_folder.path()
                    + " disk || echo status $?; test -b disk && echo still"),
        HasSubstr("disk: is a disk, and what is on it would be lost\nstatus 1\nstill\nexit 0"));
}

TEST_F(ToolOutput, PipesAndStandardOutputAreWrittenTo)
{
    std::string png = picture("a.png");
    std::string fifo = m_folder.file("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string mivo = test::shellQuoted(kTool);
    EXPECT_THAT(test::outputOf(mivo + " sheet " + m_folder.path() + " " + fifo + " & cat " + fifo),
        StartsWith("<!DOCTYPE html>"));
    EXPECT_THAT(test::outputOf(mivo + " thumbnail " + png + " -"), StartsWith("\x89PNG"));
    EXPECT_THAT(test::outputOf(mivo + " thumbnail " + png + " /dev/stdout"), StartsWith("\x89PNG"));
    EXPECT_THAT(test::outputOf("exec 3>&1; " + mivo + " thumbnail " + png + " /dev/fd/3"), StartsWith("\x89PNG"));
    // Behind what is in the file already.
    std::string file = m_folder.file("out");
    EXPECT_THAT(test::outputOf("(echo before; " + mivo + " thumbnail " + png + " /dev/stdout; echo after) >" + file
                    + "; cat " + file),
        testing::AllOf(StartsWith("before\n\x89PNG"), testing::EndsWith("after\n")));
    struct stat facts { };
    ASSERT_EQ(stat(fifo.c_str(), &facts), 0);
    EXPECT_TRUE(S_ISFIFO(facts.st_mode));
}

TEST_F(ToolOutput, JobsWriteIntoPipesToo)
{
    std::string fifo = m_folder.file("pipe");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    std::string mp3 = m_folder.file("read.mp3");
    EXPECT_EQ(
        test::run(test::shellQuoted(kTool) + " encode " + tone("a.wav") + " " + fifo + " & cat " + fifo + " >" + mp3),
        0);
    EXPECT_EQ(test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name -of csv=p=0 " + mp3), "mp3\n");
}

TEST_F(ToolOutput, LinksAreFollowedAndStay)
{
    std::string png = picture("a.png");
    std::string wav = tone("a.wav");
    std::string folder = m_logs.path();
    ASSERT_EQ(test::run("cd " + folder
                  + " && mkdir far && ln -s far/new.png direct.png && ln -s direct.png twice.png"
                    " && ln -s far/new.m4a s.m4a && ln -s far/new.mp3 s.mp3"),
        0);
    EXPECT_EQ(tool("thumbnail " + png + " " + folder + "/twice.png").status, 0);
    EXPECT_EQ(tool("thumbnail " + png + " " + folder + "/twice.png").status, 0);
    EXPECT_EQ(tool("convert " + wav + " " + folder + "/s.m4a").status, 0);
    EXPECT_EQ(tool("encode " + wav + " " + folder + "/s.mp3").status, 0);
    EXPECT_EQ(test::run("cd " + folder
                  + " && test -L twice.png && test -L direct.png && test -L s.m4a && test -L s.mp3"
                    " && test -f far/new.png && test -f far/new.m4a && test -f far/new.mp3"),
        0);
    ASSERT_EQ(test::run("cd " + folder + " && ln -s loop1 loop2 && ln -s loop2 loop1"), 0);
    EXPECT_EQ(tool("thumbnail " + png + " " + folder + "/loop1.png").status, 0);
    EXPECT_EQ(tool("sheet " + m_folder.path() + " " + folder + "/loop1").status, 1);
}

TEST_F(ToolOutput, FilesAreReplacedWholeAndKeepTheirMode)
{
    picture("a.png");
    std::string page = m_logs.file("page.html");
    std::string script = "printf old >" + page + " && chmod 600 " + page + " && stat -c %i " + page;
    std::string before = test::outputOf(script);
    EXPECT_EQ(tool("sheet " + m_folder.path() + " " + page).status, 0);
    EXPECT_THAT(text("page.html"), StartsWith("<!DOCTYPE html>"));
    EXPECT_EQ(test::outputOf("stat -c %a " + page), "600\n");
    EXPECT_NE(test::outputOf("stat -c %i " + page), before);
    // Nothing beside it.
    EXPECT_EQ(test::outputOf("ls -A " + m_logs.path() + " | grep -c mivo || true"), "0\n");
}

TEST_F(ToolOutput, WhatIsNoPlaceForAFileIsRefused)
{
    std::string png = picture("a.png");
    std::string folder = m_logs.path();
    EXPECT_THAT(tool("thumbnail " + png + " " + folder + "/x.png/").err, HasSubstr("is no name of a file"));
    EXPECT_THAT(tool("thumbnail " + png + " " + folder + "/no/x.png").err, HasSubstr("there is no folder"));
    EXPECT_THAT(tool("sheet " + m_folder.path() + " " + folder).err, HasSubstr(folder + ": is a folder\n"));
    EXPECT_THAT(tool("thumbnail " + png + " " + png).err, HasSubstr("input and output are the same file"));
    ASSERT_EQ(
        test::run("/usr/bin/python3 -c 'import socket; socket.socket(socket.AF_UNIX).bind(\"" + folder + "/s.png\")'"),
        0);
    EXPECT_THAT(tool("thumbnail " + png + " " + folder + "/s.png").err, HasSubstr("is neither a file nor a stream"));
    EXPECT_EQ(test::run("test -S " + folder + "/s.png"), 0);
}

TEST_F(ToolOutput, ExistingOutputsOfJobsNeedForce)
{
    std::string wav = tone("a.wav");
    std::string movie = made("v.mov", "-f lavfi -i testsrc=size=160x120:duration=1 -c:v mpeg4");
    struct Row {
        std::string words;
        const char* name;
    };
    const Row Rows[] = { { "encode", "x.mp3" }, { "convert", "x.m4a" }, { "export", "x.mp4" } };
    for (const Row& row : Rows) {
        std::string output = m_logs.write(row.name, std::string_view("older"));
        std::string files = " " + (row.words == "export" ? movie : wav) + " " + output;
        Outcome refused = tool(row.words + files);
        EXPECT_EQ(refused.status, 1) << row.words;
        EXPECT_EQ(refused.err,
            "mivo " + row.words + ": " + output + ": is there already; --force replaces it, --no-clobber skips it\n");
        Outcome skipped = tool(row.words + " --no-clobber" + files);
        EXPECT_EQ(skipped.status, 0) << row.words;
        EXPECT_EQ(skipped.err, output + ": is there already, skipped\n");
        EXPECT_EQ(text(row.name), "older");
        EXPECT_EQ(tool(row.words + " --force" + files).status, 0) << row.words;
        EXPECT_NE(text(row.name), "older");
        // A job that fails costs nothing.
        m_logs.write(row.name, std::string_view("older"));
        EXPECT_EQ(
            tool(row.words + " --force " + m_folder.write("no.mov", std::string_view("nothing")) + " " + output).status,
            1);
        EXPECT_EQ(text(row.name), "older") << row.words;
    }
}

TEST_F(ToolOutput, OfSeveralFilesTheOthersAreStillEncoded)
{
    std::string to = m_logs.path();
    m_logs.write("b.mp3", std::string_view("older"));
    Outcome outcome
        = tool("encode --to " + to + " " + tone("a.wav") + " /no/x.wav " + tone("b.wav") + " " + tone("c.wav"));
    EXPECT_EQ(outcome.status, 1);
    EXPECT_THAT(outcome.err, HasSubstr("mivo encode: /no/x.wav: there is no such file\n"));
    EXPECT_THAT(outcome.err, HasSubstr("b.mp3: is there already; --force"));
    EXPECT_EQ(text("b.mp3"), "older");
    EXPECT_EQ(test::run("test -s " + to + "/a.mp3 && test -s " + to + "/c.mp3"), 0);
    EXPECT_EQ(tool("encode --no-clobber --to " + to + " " + tone("a.wav") + " " + tone("b.wav")).status, 0);
}

TEST_F(ToolOutput, WhatAKilledJobLeftIsRemovedByTheNext)
{
    // Nobody holds its lock, unlike that of a job at work.
    ASSERT_EQ(
        test::run("mkdir " + m_logs.file(".mivo-job-abcdef") + " && touch " + m_logs.file(".mivo-job-abcdef/0.mp3")),
        0);
    auto atWork = JobFolder::makeIn(m_logs.path());
    ASSERT_TRUE(atWork.ok());
    ASSERT_EQ(test::run("touch " + (*atWork)->file("1.mp3").text()), 0);
    EXPECT_EQ(tool("encode " + tone("a.wav") + " " + m_logs.file("a.mp3")).status, 0);
    EXPECT_NE(access(m_logs.file(".mivo-job-abcdef").c_str(), F_OK), 0);
    EXPECT_EQ(access((*atWork)->file("1.mp3").c_str(), F_OK), 0);
}

} // namespace
} // namespace mv::cli
