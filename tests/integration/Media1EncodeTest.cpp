#include "tests/integration/EncodingService.h"

#include <sys/stat.h>

// Encode: what it makes of which options, and what is at the destination.

namespace mv {
namespace {

using test::countOption;
using test::flagOption;
using test::JobStatus;
using test::Media1Answer;
using test::Media1Options;
using test::textOption;

constexpr const char* InvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

class Media1Encode : public test::EncodingService { };

TEST_F(Media1Encode, MakesWhatTheEndingSays)
{
    std::string source = wave("a.wav");
    for (auto [name, codec] :
        { std::pair("a.mp3", "s mp3"), std::pair("a.m4a", "s aac"), std::pair("B.MP3", "s mp3") }) {
        std::string job = m_jobs.begin(source, at(name));
        EXPECT_TRUE(job.starts_with("/Mivo/Media1/jobs/")) << job;
        JobStatus end = m_jobs.awaitEnd(job);
        EXPECT_EQ(end.state, "done") << end.error << end.text << m_service.log();
        EXPECT_EQ(end.progress, 1.0);
        EXPECT_EQ(end.error + end.text, "");
        EXPECT_EQ(end.source, source);
        EXPECT_EQ(end.destination, at(name));
        Media1Answer made = m_media.describe(at(name));
        EXPECT_EQ(made.fact("mivo:audioCodec"), codec);
        EXPECT_EQ(made.fact("mivo:sampleRate"), "u 44100");
        EXPECT_EQ(made.fact("mivo:channels"), "u 2");
    }
    EXPECT_EQ(files(), 4u);
}

TEST_F(Media1Encode, OptionsSayHow)
{
    std::string source = wave("a.wav", 3);
    auto encode = [&](const std::string& name, Media1Options options) {
        EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(source, at(name), options)).state, "done") << name;
        return m_media.describe(at(name));
    };
    EXPECT_EQ(encode("format.bin", { textOption("format", "mp3") }).fact("mivo:audioCodec"), "s mp3");
    EXPECT_EQ(encode("other.mp3", { textOption("format", "aac") }).fact("mivo:audioCodec"), "s aac");
    EXPECT_EQ(encode("64.mp3", { countOption("bitrate", 64'000) }).fact("mivo:bitrate"), "u 64000");
    EXPECT_EQ(encode("256.mp3", { countOption("bitrate", 256'000), countOption("cores", 7) }).fact("mivo:bitrate"),
        "u 256000");
    std::string variable = encode("vbr.mp3", { flagOption("vbr", true) }).fact("mivo:bitrate");
    EXPECT_NE(variable, encode("cbr.mp3", { flagOption("vbr", false) }).fact("mivo:bitrate"));
    auto small = encode("64.m4a", { countOption("bitrate", 64'000) });
    auto large = encode("256.m4a", { countOption("bitrate", 256'000) });
    EXPECT_LT(std::filesystem::file_size(at("64.m4a")), std::filesystem::file_size(at("256.m4a")) / 2);
    EXPECT_EQ(encode("mono.mp3", { textOption("mode", "mono") }).fact("mivo:channels"), "u 1");
    encode("stereo.mp3", { textOption("mode", "stereo") });
    encode("joint.mp3", { textOption("mode", "joint") });
    EXPECT_EQ(test::readFile(at("joint.mp3")), test::readFile(at("cbr.mp3"))) << "what two channels are by themselves";
    EXPECT_NE(test::readFile(at("joint.mp3")), test::readFile(at("stereo.mp3")));
    encode("fast.mp3", { textOption("quality", "fast") });
    encode("best.mp3", { textOption("quality", "best"), textOption("flavour", "unknown") });
    EXPECT_NE(test::readFile(at("fast.mp3")), test::readFile(at("best.mp3")));
}

TEST_F(Media1Encode, WrongArgumentsAreRefused)
{
    std::string source = wave("a.wav");
    auto errorOf = [&](const Media1Options& options) { return m_jobs.encode(source, at("b.mp3"), options).error; };
    EXPECT_EQ(m_jobs.encode("a.wav", at("b.mp3")).error, InvalidArgs);
    EXPECT_EQ(m_jobs.encode(source, "b.mp3").error, InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("format", "ogg") }), InvalidArgs);
    EXPECT_EQ(errorOf({ flagOption("format", true) }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("quality", "worst") }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("mode", "dual") }), InvalidArgs);
    EXPECT_EQ(errorOf({ countOption("bitrate", 0) }), InvalidArgs);
    EXPECT_EQ(errorOf({ countOption("bitrate", 1'000'000) }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("bitrate", "128000") }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("replace", "yes") }), InvalidArgs);
    EXPECT_EQ(errorOf({ flagOption("cores", true) }), InvalidArgs);
    EXPECT_EQ(files(), 1u);
}

TEST_F(Media1Encode, WhatIsKnownBeforeFailsTheCall)
{
    std::string source = wave("a.wav");
    std::string text = m_folder.write("text.txt", "no media");
    std::string older = m_folder.write("older.mp3", "older");
    std::string picture = at("p.png");
    test::outputOf("ffmpeg -v error -f lavfi -i color=red:s=8x8:d=1 -frames:v 1 " + test::shellQuoted(picture));
    struct Row {
        std::string source, destination, error, text;
    };
    const Row rows[] {
        { at("nobody.wav"), at("b.mp3"), "NotFound", "There is no file \"nobody.wav\"." },
        { m_folder.path(), at("b.mp3"), "NotRegular", "" },
        { text, at("b.mp3"), "NotMedia", "" },
        { picture, at("b.mp3"), "Unsupported", "" },
        { source, at("b.ogg"), "Unsupported", "The ending of \"b.ogg\" is of no format that is encoded to." },
        { source, at("b"), "Unsupported", "" },
        { source, older, "Exists", "\"older.mp3\" is there already." },
        { source, at("no/b.mp3"), "NotFound", "The folder for \"b.mp3\" is not there." },
        { source, older + "/b.mp3", "NotFound", "" },
    };
    for (const Row& row : rows) {
        test::Answer answer = m_jobs.encode(row.source, row.destination);
        EXPECT_EQ(answer.error, row.error) << row.source << " " << row.destination << " " << answer.text;
        if (!row.text.empty()) {
            EXPECT_EQ(answer.text, row.text);
        }
        EXPECT_EQ(answer.text.find(m_folder.path() + "/"), std::string::npos) << answer.text;
    }
    ASSERT_EQ(symlink("nowhere", at("dangling.mp3").c_str()), 0);
    EXPECT_EQ(m_jobs.encode(source, at("dangling.mp3")).error, "Exists");
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
}

TEST_F(Media1Encode, ReplacingLeavesTheOlderFileUntilTheNewOneIsWhole)
{
    std::string older = m_folder.write("b.mp3", "older");
    ASSERT_EQ(chmod(older.c_str(), 0640), 0);
    std::string job = longJob("b.mp3", { flagOption("replace", true) });
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    ASSERT_TRUE(m_jobs.cancel(job).ok());
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    job = m_jobs.begin(wave("a.wav"), older, { flagOption("replace", true) });
    EXPECT_EQ(m_jobs.awaitEnd(job).state, "done");
    EXPECT_EQ(m_media.describe(older).fact("mivo:audioCodec"), "s mp3");
    struct stat facts { };
    ASSERT_EQ(stat(older.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0640u);
    EXPECT_EQ(m_jobs.encode(older, older, { flagOption("replace", true) }).error, "Exists") << "the source itself";
    ASSERT_EQ(link(older.c_str(), at("again.mp3").c_str()), 0);
    EXPECT_EQ(m_jobs.encode(older, at("again.mp3"), { flagOption("replace", true) }).error, "Exists");
    EXPECT_EQ(m_jobs.encode(older, m_folder.path(), { flagOption("replace", true), textOption("format", "mp3") }).error,
        "NotRegular");
}

TEST_F(Media1Encode, WhatComesToTheDestinationMeanwhileStays)
{
    std::string job = m_jobs.begin(wave("some.wav", 60), at("b.mp3"));
    m_folder.write("b.mp3", "somebody else's");
    JobStatus end = m_jobs.awaitEnd(job);
    EXPECT_EQ(end.state, "failed");
    EXPECT_EQ(end.error, "Exists") << end.text;
    EXPECT_EQ(charsOf(test::readFile(at("b.mp3"))), "somebody else's");
    EXPECT_EQ(files(), 2u);
}

} // namespace
} // namespace mv
