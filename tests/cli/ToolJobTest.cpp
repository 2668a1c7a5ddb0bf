// Encoding, conversion and export.
#include "tests/cli/ToolFixture.h"

#include <algorithm>
#include <csignal>
#include <iterator>
#include <thread>

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

class ToolCores : public ToolOnBus {
protected:
    /// So long that there is something to share out, and with something for every encoder to decide.
    std::string noise(const std::string& name)
    {
        return made(name, "-f lavfi -i anoisesrc=r=44100:d=20:a=0.3:seed=1 -ac 2 -metadata title=Noise");
    }
    Bytes outcome(const std::string& words, const std::string& name)
    {
        Outcome outcome = tool(words + " --force " + m_noise + " " + m_folder.file(name));
        EXPECT_EQ(outcome.status, 0) << words << outcome.err;
        return test::readFile(m_folder.file(name));
    }

    const unsigned m_machine = std::max(1u, std::thread::hardware_concurrency());
    const std::string m_noise = noise("noise.flac");
};

// The rate that the source has anyhow leads to the encoder service.
TEST_F(ToolCores, OneGivesTheBytesOfTheEncoderService)
{
    for (const char* options : { "", " --mode mono", " --mode joint", " --vbr", " --bitrate 320 --quality fast" }) {
        std::string words = std::string("encode") + options;
        EXPECT_EQ(outcome(words + " --cores 1", "one.mp3"), outcome(words + " --rate 44100", "classic.mp3")) << words;
    }
}

TEST_F(ToolCores, AFileHasThoseThatAreFree)
{
    for (const char* words : { "encode", "convert" }) {
        std::string name = std::string_view(words) == "encode" ? "x.mp3" : "x.m4a";
        Bytes most = outcome(std::string(words) + " --cores 16", name);
        tool("quit"); // so that nothing of that one's job is left
        EXPECT_EQ(outcome(words, name), most);
    }
    if (m_machine == 1)
        GTEST_SKIP() << "of one core there is no more to be had";
    Bytes one = outcome("encode --cores 1", "x.mp3");
    EXPECT_NE(outcome("encode --cores 2", "x.mp3"), one);
    EXPECT_EQ(test::outputOf("ffprobe -loglevel error -show_entries stream=channels,bit_rate:format_tags=title "
                             "-of default=nk=1:nw=1 "
                  + m_folder.file("x.mp3")),
        "2\n192000\nNoise\n");
}

TEST_F(ToolCores, SeveralFilesShareThem)
{
    std::string other = noise("other.flac");
    test::run("mkdir " + m_folder.file("out"));
    EXPECT_EQ(tool("encode --to " + m_folder.file("out") + " " + m_noise + " " + other).status, 0);
    std::string share = std::to_string(std::clamp(m_machine / 2, 1u, 16u));
    EXPECT_EQ(test::readFile(m_folder.file("out/noise.mp3")), outcome("encode --cores " + share, "x.mp3"));
    // Of a mirror, too; it has joint stereo and tells what it made.
    std::string folders = m_folder.file("lib") + " " + m_folder.file("phone");
    test::run("mkdir " + m_folder.file("lib") + " && cp " + m_noise + " " + other + " " + m_folder.file("lib"));
    EXPECT_EQ(tool("encode --mirror --cores 1 " + folders).status, 0);
    EXPECT_EQ(test::readFile(m_folder.file("phone/noise.mp3")), outcome("encode --mode joint --cores 1", "x.mp3"));
    EXPECT_EQ(
        tool("encode --mirror --cores 2 " + folders).out, "0 encoded, 0 copied, 2 unchanged, 0 removed, 0 failed\n")
        << "how many have made a file is not told from it";
}

TEST_F(ToolCores, WhatOneEncoderDoesIsNotSharedOut)
{
    Outcome outcome = tool("encode --cores 2 --rate 22050 " + m_noise + " " + m_folder.file("x.mp3"));
    EXPECT_EQ(outcome.status, 2);
    EXPECT_THAT(
        outcome.err, StartsWith("mivo encode: --rate is the work of one encoder; leave out --cores, or ask for one\n"));
    EXPECT_EQ(tool("encode --cores 1 --rate 22050 " + m_noise + " " + m_folder.file("x.mp3")).status, 0);
    EXPECT_EQ(tool("encode --rate 12345 " + m_noise + " " + m_folder.file("y.mp3")).status, 2) << "none of MP3's";
    EXPECT_EQ(tool("encode --cores 17 " + m_noise + " " + m_folder.file("y.mp3")).status, 2);
    // Of less than jobs take, which is as much as the encoder can do.
    EXPECT_EQ(tool("convert --bitrate 1 " + m_noise + " " + m_folder.file("x.m4a")).status, 0);
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

TEST_F(ToolOnBus, NoFileIsNamedAsAnotherFormat)
{
    std::string wav = tone("a.wav");
    for (std::string name : { "x.m4a", "x.OGG", "x.wav" }) {
        Outcome outcome = tool("encode " + wav + " " + m_folder.file(name));
        EXPECT_EQ(outcome.status, 2) << name;
        EXPECT_THAT(outcome.err, HasSubstr(name + " would be of another format: the output's name ends in .mp3\n"));
        EXPECT_NE(access(m_folder.file(name).c_str(), F_OK), 0) << name;
    }
    EXPECT_EQ(tool("convert " + wav + " " + m_folder.file("x.mp3")).status, 2);
    for (const char* name : { "x.MP4", "x.m4b", "x", "x.part" })
        EXPECT_EQ(tool("convert " + wav + " " + m_folder.file(name)).status, 0) << name;
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
