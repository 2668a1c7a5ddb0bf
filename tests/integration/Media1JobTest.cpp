#include "tests/integration/EncodingService.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>

// The life of Encode's jobs, over a bus.

namespace mv {
namespace {

using test::Job1Client;
using test::JobStatus;

class Media1Jobs : public test::EncodingService { };

TEST_F(Media1Jobs, ACancelledJobLeavesNothing)
{
    for (const char* name : { "b.mp3", "b.m4a" }) {
        std::string job = longJob(name);
        EXPECT_FALSE(isThere(name)) << "it appears at the end";
        EXPECT_TRUE(m_jobs.cancel(job).ok());
        JobStatus end = m_jobs.status(job);
        EXPECT_EQ(end.state, "cancelled");
        EXPECT_EQ(end.error, "Cancelled");
        EXPECT_EQ(end.text, "Encoding \"long.wav\" was cancelled.");
        EXPECT_LT(end.progress, 1.0);
        EXPECT_FALSE(isThere(name));
        EXPECT_TRUE(m_jobs.cancel(job).ok()) << "once more";
        EXPECT_EQ(m_jobs.status(job).state, "cancelled");
    }
    EXPECT_EQ(files(), 1u);
    EXPECT_EQ(m_service.log().find("lost"), std::string::npos) << "nobody is to blame: " << m_service.log();
}

TEST_F(Media1Jobs, AnEndedJobLivesUntilItIsReleased)
{
    std::string job = m_jobs.begin(wave("a.wav"), at("b.mp3"));
    EXPECT_EQ(m_jobs.awaitEnd(job).state, "done");
    EXPECT_TRUE(m_jobs.cancel(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "done");
    EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "");
    EXPECT_FALSE(m_jobs.release(job).ok());
    EXPECT_TRUE(isThere("b.mp3"));
    EXPECT_NE(m_jobs.begin(wave("a.wav"), at("c.mp3")), job) << "no path is given twice";
}

TEST_F(Media1Jobs, ReleasingARunningJobCancelsIt)
{
    std::size_t children = test::childrenOf(m_service.pid()).size();
    std::string job = longJob("b.mp3");
    EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "");
    EXPECT_TRUE(test::eventually([&] { return test::childrenOf(m_service.pid()).size() <= children + 2; }));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Media1Jobs, AClientThatLeavesTakesItsJobsWithIt)
{
    wave("long.wav", test::LongSeconds);
    std::string job;
    {
        test::BusClient leaves;
        Job1Client theirs(leaves);
        job = theirs.begin(at("long.wav"), at("b.mp3"));
        std::string ended = theirs.begin(wave("a.wav"), at("c.mp3"));
        EXPECT_EQ(theirs.awaitEnd(ended).state, "done");
        EXPECT_EQ(m_jobs.status(job).state, "running") << "anybody may look";
    }
    EXPECT_TRUE(test::eventually([&] { return m_jobs.status(job).state.empty(); }));
    EXPECT_TRUE(test::eventually([&] { return test::childrenOf(m_service.pid()).size() <= 3; }));
    EXPECT_EQ(files(), 3u);
}

TEST_F(Media1Jobs, ChangesAreToldAtMostTenTimesASecondAndTheLastAlways)
{
    std::string source = wave("some.wav", 60);
    auto begin = std::chrono::steady_clock::now();
    std::string job = m_jobs.begin(source, at("b.mp3"));
    m_client.serveUntil([&] {
        const auto& all = m_jobs.changes();
        return !all.empty() && std::ranges::find(all.back().names, "State") != all.back().names.end();
    });
    EXPECT_EQ(m_jobs.status(job).state, "done") << "when the last one was told";
    const auto changes = m_jobs.changes();
    ASSERT_FALSE(changes.empty());
    for (const auto& change : changes)
        EXPECT_EQ(change.job, job);
    EXPECT_EQ(changes.back().names, (std::vector<std::string> { "State", "Progress", "Error" }));
    // How close together they arrive is the machine's affair; how many there are in so long a time is not.
    auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(static_cast<long>(changes.size()), took / std::chrono::milliseconds(100) + 1);
    EXPECT_EQ(std::ranges::count_if(changes, [](const auto& one) { return one.names.size() > 1; }), 1);
}

TEST_F(Media1Jobs, ManyJobsWaitForTheirTurnAndKeepNobodyWaiting)
{
    wave("long.wav", test::LongSeconds);
    std::vector<std::string> jobs;
    for (int i = 0; i < 20; ++i)
        jobs.push_back(m_jobs.begin(at("long.wav"), at(std::to_string(i) + ".mp3")));
    EXPECT_TRUE(m_media.describe(wave("a.wav")).ok()) << "calls are not behind jobs";
    test::BusClient other;
    Job1Client theirs(other);
    EXPECT_EQ(theirs.awaitEnd(theirs.begin(at("a.wav"), at("theirs.mp3"))).state, "done") << "nor are other clients";
    // One that has not begun ends at once.
    EXPECT_TRUE(m_jobs.cancel(jobs.back()).ok());
    EXPECT_EQ(m_jobs.status(jobs.back()).state, "cancelled");
    for (const std::string& job : jobs)
        EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(at("a.wav"), at("mine.mp3"))).state, "done");
    EXPECT_EQ(files(), 4u);
}

TEST_F(Media1Jobs, QuittingEndsTheJobs)
{
    longJob("b.mp3");
    ASSERT_TRUE(quit());
    EXPECT_EQ(m_service.waitForEnd(), 0);
    EXPECT_EQ(files(), 1u);
}

} // namespace
} // namespace mv
