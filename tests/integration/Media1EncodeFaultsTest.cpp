#include "tests/integration/FaultyService.h"
#include "tests/integration/Job1Client.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <unistd.h>

// Encode where the disk is full and where workers crash, lie and hang.

namespace mv {
namespace {

using test::countOption;
using test::flagOption;
using test::Job1Client;
using test::JobStatus;

// Run by the test below, in a process that has a small file system of its own.
TEST(Media1EncodeDisk, DISABLED_IsFull)
{
    test::PrivateBus bus;
    test::ServiceProcess service;
    ASSERT_TRUE(service.waitUntilReady());
    test::BusClient client;
    Job1Client jobs(client);
    test::ScratchFolder sources;
    std::string wave = sources.write("a.wav", test::waveFile(120));
    const std::string folder = std::getenv("MIVO_FULL_DISK");
    for (auto [name, cores] :
        { std::pair("/b.mp3", 1u), std::pair("/b.mp3", 2u), std::pair("/b.m4a", 1u), std::pair("/b.m4a", 2u) }) {
        std::ofstream(folder + name) << "older";
        std::string job = jobs.begin(wave, folder + name,
            { flagOption("replace", true), countOption("bitrate", 256'000), countOption("cores", cores) });
        JobStatus end = jobs.awaitEnd(job);
        EXPECT_EQ(end.state, "failed") << name;
        EXPECT_EQ(end.error, "NoSpace") << end.text;
        EXPECT_EQ(charsOf(test::readFile(folder + name)), "older");
    }
    using std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(directory_iterator(folder), directory_iterator()), 2) << "nothing hidden";
}

TEST(Media1EncodeDisk, ThatIsFullFailsTheJobAndKeepsTheOlderFile)
{
    test::ScratchFolder folder;
    std::string inNamespace = "unshare --mount --propagation private sh -ec ";
    std::string mount = "mount -t tmpfs -o size=1m none " + folder.path();
    if (geteuid() != 0 || test::run(inNamespace + test::shellQuoted(mount)) != 0)
        GTEST_SKIP() << "a file system of one's own needs root and a mount namespace";
    std::string program = std::filesystem::read_symlink("/proc/self/exe");
    std::string output = test::outputOf(inNamespace
        + test::shellQuoted(mount + " && MIVO_FULL_DISK=" + folder.path() + " " + program
            + " --gtest_also_run_disabled_tests --gtest_filter=Media1EncodeDisk.DISABLED_IsFull 2>&1 || true"));
    EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
}

class Media1EncodeDeath : public test::FaultyService {
protected:
    std::string wave(const std::string& name) { return m_folder.write(name, test::waveFile(1)); }

    test::ScratchFolder m_folder;
    Job1Client m_jobs { m_client };
};

class Media1EncodeDeathBy : public Media1EncodeDeath, public testing::WithParamInterface<const char*> { };

// The host finds out before the job what its source is, by another worker.
TEST_P(Media1EncodeDeathBy, FailsTheCallWhereTheSourceIsLookedAt)
{
    test::Answer answer = m_jobs.encode(wave(std::string(GetParam()) + "-at-job.wav"), m_folder.file("b.mp3"));
    EXPECT_EQ(answer.error, "Crashed") << answer.text;
    EXPECT_FALSE(std::filesystem::exists(m_folder.file("b.mp3")));
}

// What the destination is called reaches the worker of the job alone.
TEST_P(Media1EncodeDeathBy, FailsTheJobAndLeavesWhatWasThere)
{
    for (const char* moment : { "job", "reply" }) {
        for (const char* ending : { ".mp3", ".m4a" }) {
            std::string name = std::string(GetParam()) + "-at-" + moment + ending;
            std::string older = m_folder.write(name, "older");
            // Each of another source: one that has ended a worker is left alone.
            std::string source = wave("source-" + std::string(moment) + ending + ".wav");
            JobStatus end = m_jobs.awaitEnd(m_jobs.begin(source, older, { flagOption("replace", true) }));
            EXPECT_EQ(end.state, "failed") << name;
            EXPECT_EQ(end.error, "Crashed") << name << end.text;
            EXPECT_EQ(charsOf(test::readFile(older)), "older") << name;
            EXPECT_EQ(
                m_jobs.awaitEnd(m_jobs.begin(source, m_folder.file("again" + std::string(ending)))).error, "Crashed")
                << "remembered";
        }
    }
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(wave("good.wav"), m_folder.file("good.mp3"))).state, "done");
    EXPECT_TRUE(test::eventually([&] {
        auto children = test::childrenOf(m_service.pid());
        return children.size() <= 4 && std::ranges::none_of(children, test::isZombie);
    }));
}

INSTANTIATE_TEST_SUITE_P(Every, Media1EncodeDeathBy,
    testing::Values("crash", "trap", "leave", "garbage", "turn", "half"),
    [](const auto& row) { return std::string(row.param); });

TEST_F(Media1EncodeDeath, AfterTheNamingTheFileIsWholeAndTheJobDone)
{
    std::string source = wave("a.wav");
    JobStatus end = m_jobs.awaitEnd(m_jobs.begin(source, m_folder.file("crash-at-answer.mp3")));
    EXPECT_EQ(end.state, "done") << end.error;
    // Under a name that does nothing to who reads it.
    std::filesystem::rename(m_folder.file("crash-at-answer.mp3"), m_folder.file("made.mp3"));
    EXPECT_TRUE(test::Media1Client(m_client).describe(m_folder.file("made.mp3")).ok());
}

} // namespace
} // namespace mv
