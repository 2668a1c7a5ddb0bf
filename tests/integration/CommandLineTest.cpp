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

TEST(CommandLine, OutputThatCannotBeWrittenIsAnError) { EXPECT_EQ(runWith("--help >/dev/full").status, 1); }

} // namespace
} // namespace mv
