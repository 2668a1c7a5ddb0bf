#include "tests/integration/EncodingService.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <csignal>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <sstream>

// One file on several cores, over a bus.

namespace mv {
namespace {

using test::countOption;
using test::flagOption;
using test::JobStatus;
using test::Media1Answer;

struct Way {
    const char* destination;
    std::uint32_t cores;
};
void PrintTo(const Way& way, std::ostream* out) { *out << way.destination << way.cores; }

class Media1EncodeKilled : public test::EncodingService, public testing::WithParamInterface<Way> {
protected:
    std::string m_name = GetParam().destination;

    pid_t jobsWorker() const
    {
        auto children = test::childrenOf(m_service.pid());
        auto most = std::ranges::max_element(children, {}, [](pid_t child) { return processorTicks(child); });
        return most == children.end() ? -1 : *most;
    }

private:
    /// What its threads have taken of processors; who is at an encoding takes the most.
    static long processorTicks(pid_t process)
    {
        std::ifstream file("/proc/" + std::to_string(process) + "/stat");
        std::string text((std::istreambuf_iterator<char>(file)), {});
        std::istringstream fields(text.substr(text.rfind(')') + 2));
        std::string field;
        for (int i = 0; i < 11; ++i)
            fields >> field;
        long user = 0;
        long system = 0;
        fields >> user >> system;
        return user + system;
    }
};

TEST_P(Media1EncodeKilled, AWorkerLeavesTheOlderFileAndFailsTheJob)
{
    std::string older = m_folder.write(m_name, "older");
    std::string job = longJob(m_name, { flagOption("replace", true), countOption("cores", GetParam().cores) });
    ASSERT_TRUE(test::eventually([&] { return m_jobs.status(job).progress >= 0.1; }));
    ASSERT_EQ(kill(jobsWorker(), SIGKILL), 0);
    JobStatus end = m_jobs.awaitEnd(job);
    EXPECT_EQ(end.state, "failed");
    EXPECT_EQ(end.error, "Crashed") << end.text;
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    EXPECT_EQ(files(), 2u);
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(wave("good.wav"), at("good.mp3"))).state, "done");
}

TEST_P(Media1EncodeKilled, AServiceLeavesTheOlderFile)
{
    std::string older = m_folder.write(m_name, "older");
    std::string job = longJob(m_name, { flagOption("replace", true), countOption("cores", GetParam().cores) });
    ASSERT_TRUE(test::eventually([&] { return m_jobs.status(job).progress >= 0.1; }));
    pid_t worker = jobsWorker();
    ASSERT_EQ(kill(m_service.pid(), SIGKILL), 0);
    // Who encodes for nobody ends.
    EXPECT_TRUE(test::eventually([&] { return kill(worker, 0) != 0 || test::isZombie(worker); }));
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    EXPECT_EQ(files(), 2u);
}

TEST_P(Media1EncodeKilled, ACancelledJobLeavesNothing)
{
    std::string job = longJob(m_name, { countOption("cores", GetParam().cores) });
    EXPECT_TRUE(m_jobs.cancel(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "cancelled");
    EXPECT_EQ(files(), 1u);
}

INSTANTIATE_TEST_SUITE_P(OnCores, Media1EncodeKilled,
    testing::Values(Way { "b.mp3", 1 }, Way { "b.mp3", 2 }, Way { "b.m4a", 1 }, Way { "b.m4a", 2 }));

using Media1EncodeCores = test::EncodingService;

// Longer than a segment, and no whole number of frames. Of an MP3 whole frames are told, as of any.
TEST_F(Media1EncodeCores, WhatSeveralCoresMakeIsDescribedAsWhatOneDoes)
{
    std::string source = wave("a.wav", 47.3);
    auto samplesOf = [](const std::string& path) {
        return test::outputOf("ffmpeg -v error -i " + test::shellQuoted(path) + " -f s16le - | wc -c");
    };
    for (bool vbr : { false, true }) {
        std::map<std::uint32_t, std::string> lengths;
        for (std::uint32_t cores : { 1u, 2u, 16u }) {
            std::string job = m_jobs.begin(source, at("b.mp3"),
                { flagOption("vbr", vbr), flagOption("replace", true), countOption("cores", cores) });
            ASSERT_EQ(m_jobs.awaitEnd(job).state, "done");
            Media1Answer made = m_media.describe(at("b.mp3"));
            lengths[cores] = made.fact("mpris:length");
            EXPECT_EQ(lengths[cores], lengths[1]) << cores;
            EXPECT_THAT(lengths[cores], testing::StartsWith("x 473")) << cores;
            if (!vbr) {
                EXPECT_EQ(made.fact("mivo:bitrate"), "u 192000") << cores;
            }
            EXPECT_EQ(samplesOf(at("b.mp3")), samplesOf(source)) << cores;
            EXPECT_EQ(test::outputOf("ffmpeg -v warning -err_detect crccheck+bitstream+buffer+explode -i "
                          + test::shellQuoted(at("b.mp3")) + " -f null - 2>&1"),
                "")
                << cores;
        }
    }
}

// The edit list tells the length to the sample.
TEST_F(Media1EncodeCores, SoDoesAac)
{
    std::string source = wave("a.wav", 47.3);
    Media1Answer before = m_media.describe(source);
    for (std::uint32_t cores : { 1u, 2u, 16u }) {
        std::string job
            = m_jobs.begin(source, at("b.m4a"), { flagOption("replace", true), countOption("cores", cores) });
        ASSERT_EQ(m_jobs.awaitEnd(job).state, "done");
        Media1Answer made = m_media.describe(at("b.m4a"));
        EXPECT_EQ(made.fact("mpris:length"), before.fact("mpris:length")) << cores;
        EXPECT_EQ(test::outputOf("ffmpeg -v warning -err_detect crccheck+bitstream+buffer+explode -i "
                      + test::shellQuoted(at("b.m4a")) + " -f null - 2>&1"),
            "")
            << cores;
    }
}

} // namespace
} // namespace mv
