#include "tests/support/Places.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

struct Outcome {
    int status;
    std::string out;
    std::string err;
};

/// mivo-mediad with arguments and without a bus.
Outcome runWith(const std::string& arguments)
{
    test::ScratchFolder folder;
    int status = test::run("env DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent " + test::buildPath("bin/mivo-mediad")
        + " >" + folder.file("out") + " 2>" + folder.file("err") + " " + arguments);
    auto text = [&](const char* name) { return std::string(charsOf(test::readFile(folder.file(name)))); };
    return { status, text("out"), text("err") };
}

TEST(CommandLine, HelpAndVersionAreOnStandardOutput)
{
    for (const char* option : { "--version", "-V" }) {
        Outcome run = runWith(option);
        EXPECT_EQ(run.status, 0);
        EXPECT_EQ(run.out, "mivo-mediad 1.3.0\n");
        EXPECT_EQ(run.err, "");
    }
    for (const char* option : { "--help", "-h" }) {
        Outcome run = runWith(option);
        EXPECT_EQ(run.status, 0);
        EXPECT_TRUE(run.out.starts_with("mivo-mediad describes, tags and converts")) << run.out;
        EXPECT_NE(run.out.find("Exit status:"), std::string::npos);
        EXPECT_EQ(run.err, "");
    }
}

TEST(CommandLine, AnythingElseIsMisuseWithASentence)
{
    for (const char* word : { "--hepl", "song.mp3", "''" }) {
        Outcome run = runWith(word);
        EXPECT_EQ(run.status, 2) << word;
        EXPECT_EQ(run.out, "");
        EXPECT_TRUE(run.err.starts_with("mivo-mediad: it takes no \"")) << run.err;
    }
}

TEST(CommandLine, ValuesThatAnOptionDoesNotTakeAreMisuse)
{
    for (const char* words : { "--idle-exit=soon", "--idle-exit -1", "--idle-exit 604801", "--idle-exit",
             "--log-level=loud", "--log-level", "--help=all" }) {
        Outcome run = runWith(words);
        EXPECT_EQ(run.status, 2) << words;
        EXPECT_EQ(run.out, "") << words;
        EXPECT_TRUE(run.err.starts_with("mivo-mediad: it takes no \"" + std::string(words) + "\": ")) << run.err;
    }
}

TEST(CommandLine, ValuesThatItTakesChangeNothingOfTheStart)
{
    for (const char* words : { "--idle-exit=0", "--idle-exit 300 --log-level error", "--log-level=debug" })
        EXPECT_EQ(runWith(words).status, 1) << words << ": there is no bus";
}

TEST(CommandLine, LinesForTheJournalBeginWithTheirPriority)
{
    test::ScratchFolder folder;
    std::string log = folder.write("log", std::string_view());
    std::string there = "env DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent JOURNAL_STREAM=";
    std::string program = " " + test::buildPath("bin/mivo-mediad") + " 2>>" + log;
    EXPECT_EQ(test::run(there + "$(stat -c %d:%i " + log + ")" + program), 1);
    std::string text(charsOf(test::readFile(log)));
    EXPECT_EQ(text,
        "<3>there is no session bus to publish MivoAVParser_1._3._0._12062 on: No such file or directory\n"
        "<3>failed to register Mivo AV Parser\n");
    // Led elsewhere it is a log like any other.
    EXPECT_EQ(test::run(there + "1:2" + program), 1);
    EXPECT_NE(charsOf(test::readFile(log)).find(" mivo-mediad["), std::string_view::npos);
}

TEST(CommandLine, OutputThatCannotBeWrittenIsAnError) { EXPECT_EQ(runWith("--help >/dev/full").status, 1); }

} // namespace
} // namespace mv
