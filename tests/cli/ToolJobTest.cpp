// Encoding, conversion and export.
#include "tests/cli/ToolFixture.h"

#include <csignal>
#include <iterator>

namespace mv::cli {
namespace {

using testing::HasSubstr;
using testing::StartsWith;

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
    EXPECT_EQ(WEXITSTATUS(status), 130);
    EXPECT_THAT(text("err"), testing::EndsWith("long.mp3: cancelled\n"));
    EXPECT_THAT(test::outputOf("ls -A " + m_folder.path()), testing::StrEq("long.wav\n"));
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
    for (pid_t program : programs)
        EXPECT_TRUE(test::eventually([&] { return !isAlive(program); }));
}

TEST_F(ToolOnBus, ConvertsToAac)
{
    std::string song = made("a.m4a", "-f lavfi -i sine=duration=2 -ar 44100 -c:a alac");
    Outcome fromM4A = tool("convert --bitrate 96 " + song + " " + m_folder.file("b.m4a"));
    EXPECT_EQ(fromM4A.status, 0) << fromM4A.err;
    EXPECT_THAT(fromM4A.err, testing::EndsWith("b.m4a: done\n"));
    Outcome fromFlac = tool("convert " + tone("c.flac") + " " + m_folder.file("c.m4a"));
    EXPECT_EQ(fromFlac.status, 0) << fromFlac.err;
    EXPECT_EQ(
        test::outputOf("ffprobe -loglevel error -show_entries stream=codec_name -of csv=p=0 " + m_folder.file("c.m4a")),
        "aac\n");
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
