#include "Base/Media/MediaDB.h"
#include "tests/integration/Attempt.h"
#include "tests/integration/FaultyService.h"

#include <atomic>
#include <thread>

// Workers that crash, lie, say nothing or take all memory, in each operation of each service: the call has the answer
// that is promised for a file of which nothing is known, the next one has its own, another client notices nothing, and
// nothing is left.

namespace mv {
namespace {

using test::AnswerRow;
using test::AnswerRows;
using test::Attempt;

/// Calls of another client to other services, one after the other, until the end of the scope.
class Bystander {
public:
    Bystander()
        : m_thread([this] { run(); })
    {
    }
    ~Bystander() { end(); }

    void end()
    {
        m_ends = true;
        if (m_thread.joinable())
            m_thread.join();
    }
    int calls() const { return m_calls; }
    int failures() const { return m_failures; }

private:
    void run()
    {
        test::BusClient client;
        std::string file = m_folder.write("good.mp3", test::song());
        while (!m_ends) {
            for (const char* name : { "mp3", "podcast" }) {
                test::Operation one = test::operationOf(name);
                auto answer = client.call(one.service, "/", one.interface, one.member,
                    [&](WireWriter& out) { one.arguments(out, file, {}); });
                ++m_calls;
                m_failures += !answer.ok() || (name == std::string_view("mp3") && one.value(answer.reader()) == "nil");
            }
        }
    }

    test::ScratchFolder m_folder;
    std::atomic<bool> m_ends = false;
    std::atomic<int> m_calls = 0;
    std::atomic<int> m_failures = 0;
    std::thread m_thread;
};

std::size_t timesIn(const std::string& text, const std::string& part)
{
    std::size_t count = 0;
    for (std::size_t at = text.find(part); at != text.npos; at = text.find(part, at + part.size()))
        ++count;
    return count;
}

class WorkerDeath : public test::FaultyService {
protected:
    /// The promised answer, the next one, and what is left.
    void expectOneCallLost(const AnswerRow& row, const std::string& wish, test::BusClient& client)
    {
        Attempt attempt(row.operation, wish);
        EXPECT_EQ(attempt.named(client), row.lost) << row.operation;
        EXPECT_TRUE(attempt.isUntouched()) << row.operation;
        EXPECT_EQ(attempt.leftBeside(), std::vector<std::string> {}) << row.operation;
        EXPECT_EQ(timesIn(m_service.log(), attempt.path()), 1u) << row.operation << ": " << m_service.log();
        std::string next = attempt.good(client);
        EXPECT_TRUE(next.starts_with(row.good)) << row.operation << ": " << next;
    }
};

class WorkerDeathBy : public WorkerDeath, public testing::WithParamInterface<const char*> { };

TEST_P(WorkerDeathBy, CostsItsOwnCall)
{
    Bystander bystander;
    for (const AnswerRow& row : AnswerRows)
        expectOneCallLost(row, std::string(GetParam()) + "-at-job", m_client);
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
    EXPECT_GT(bystander.calls(), 0);
}

std::string nameOf(const testing::TestParamInfo<const char*>& row) { return row.param; }

INSTANTIATE_TEST_SUITE_P(Every, WorkerDeathBy,
    testing::Values("crash", "abort", "trap", "leave", "garbage", "turn", "kind", "length", "half", "needs"), nameOf);

struct DeadlineRow {
    const char* deed;
    const char* operation; ///< null for all that read, and the updates of tags
};

/// Each waits until its deadline, so all do at once, but for jobs of one service that wait for each other. `make
/// faults` runs these.
class WorkerAtDeadline : public WorkerDeath, public testing::WithParamInterface<DeadlineRow> {
protected:
    static bool isMeant(const AnswerRow& row)
    {
        bool isJob = std::string_view(row.operation).ends_with("-from");
        return GetParam().operation ? std::string_view(row.operation) == GetParam().operation : !isJob;
    }
};

TEST_P(WorkerAtDeadline, DISABLED_CostsItsOwnCall)
{
    Bystander bystander;
    std::vector<std::thread> clients;
    for (const AnswerRow& row : AnswerRows) {
        if (!isMeant(row))
            continue;
        clients.emplace_back([&, this] {
            test::BusClient client;
            expectOneCallLost(row, std::string(GetParam().deed) + "-at-job", client);
        });
    }
    for (std::thread& client : clients)
        client.join();
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
    EXPECT_GT(bystander.calls(), 0);
}

/// "works" takes longer than anybody waits for one who says nothing.
class WorkerAtDeadlineThatWorks : public WorkerDeath, public testing::WithParamInterface<const char*> { };

TEST_P(WorkerAtDeadlineThatWorks, DISABLED_IsNotGivenUp)
{
    Attempt attempt(GetParam(), "works-at-job");
    std::string good = attempt.good(m_client);
    EXPECT_NE(good, "false");
    EXPECT_EQ(attempt.named(m_client), good) << m_service.log();
}

INSTANTIATE_TEST_SUITE_P(Jobs, WorkerAtDeadlineThatWorks, testing::Values("encode-from", "convert-from"),
    [](const auto& row) { return std::string(row.param).substr(0, 6); });

INSTANTIATE_TEST_SUITE_P(Every, WorkerAtDeadline,
    testing::Values(DeadlineRow { "hang", nullptr }, DeadlineRow { "hang", "encode-from" },
        DeadlineRow { "hang", "convert-from" }, DeadlineRow { "hang", "export-from" },
        DeadlineRow { "silence", nullptr }, DeadlineRow { "silence", "encode-from" },
        DeadlineRow { "silence", "convert-from" }, DeadlineRow { "silence", "export-from" }),
    [](const auto& row) {
        std::string name = std::string(row.param.deed) + (row.param.operation ? row.param.operation : "");
        std::erase(name, '-');
        return name;
    });

TEST_F(WorkerDeath, WithoutMemoryACallFailsAndTheNextOneDoesNot)
{
    Bystander bystander;
    for (const AnswerRow& row : AnswerRows) {
        Attempt attempt(row.operation, "memory-at-job");
        attempt.named(m_client);
        std::string next = attempt.good(m_client);
        EXPECT_TRUE(next.starts_with(row.good)) << row.operation << ": " << next;
    }
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
}

TEST_F(WorkerDeath, AWorkerThatTalksTooMuchFillsNoLog)
{
    Attempt attempt("mp3", "chatter-at-job");
    EXPECT_EQ(attempt.named(m_client), attempt.good(m_client));
    EXPECT_LT(timesIn(m_service.log(), "\n"), 1100u);
}

TEST_F(WorkerDeath, AFileThatEndedAWorkerEndsNoOther)
{
    Attempt attempt("mp3", "crash-at-job");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(attempt.named(m_client), "nil");
    EXPECT_EQ(timesIn(m_service.log(), "was lost"), 1u) << m_service.log();
}

// The system kills what it has no memory for, whatever that reads.
TEST_F(WorkerDeath, AKilledWorkerIsNotTheFilesFault)
{
    Attempt attempt("mp3", "kill-at-job");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(attempt.named(m_client), "nil");
    EXPECT_EQ(timesIn(m_service.log(), "was lost"), 3u) << m_service.log();
}

TEST_F(WorkerDeath, ALieLeadsToNoOtherFile)
{
    test::ScratchFolder folder;
    std::string path = folder.write("lie-at-job.mp3", test::song());
    auto record = m_client.build(test::operationOf("mp3").service, path);
    ASSERT_TRUE(record && *record);
    EXPECT_EQ(*(*record)->string(MediaDBMusicColumnTitle), "A lie");
    EXPECT_EQ(*(*record)->string(MediaDBCommonColumnFilePath), path);
    EXPECT_EQ(*(*record)->string(MediaDBCommonColumnFileName), "lie-at-job.mp3");
    EXPECT_EQ((*record)->integer(MediaDBCommonColumnFileSize), static_cast<std::int32_t>(test::song().size()));
}

TEST_F(WorkerDeath, AFolderOfPoisonIsScannedTwiceAndEndsWorkersOnce)
{
    constexpr std::size_t Count = 1000;
    test::ScratchFolder folder;
    for (std::size_t i = 0; i < Count; ++i)
        folder.write("crash-at-job " + std::to_string(i) + ".mp3", test::song());
    std::string name = test::operationOf("mp3").service;
    for (int scan = 0; scan < 2; ++scan) {
        for (std::size_t i = 0; i < Count; ++i) {
            auto record = m_client.build(name, folder.file("crash-at-job " + std::to_string(i) + ".mp3"));
            ASSERT_TRUE(record && !*record) << i;
        }
        EXPECT_EQ(timesIn(m_service.log(), "was lost"), Count);
    }
    auto record = m_client.build(name, folder.write("good.mp3", test::song()));
    EXPECT_TRUE(record && *record);
}

struct UpdateRow {
    const char* operation;
    const char* wish;
};

class TagUpdateDeath : public test::FaultyService, public testing::WithParamInterface<UpdateRow> { };

TEST_P(TagUpdateDeath, LeavesTheOldFileAndNothingBesideIt)
{
    constexpr std::size_t Count = 250;
    for (std::size_t i = 0; i < Count; ++i) {
        Attempt attempt(GetParam().operation, GetParam().wish);
        ASSERT_EQ(attempt.named(m_client), "true");
        ASSERT_TRUE(attempt.isUntouched());
        ASSERT_EQ(attempt.leftBeside(), std::vector<std::string> {});
    }
    EXPECT_EQ(timesIn(m_service.log(), GetParam().wish), Count) << m_service.log();
}

std::string rowName(const testing::TestParamInfo<UpdateRow>& row)
{
    std::string name = std::string(row.param.operation).substr(7) + row.param.wish;
    std::erase(name, '-');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Every, TagUpdateDeath,
    testing::Values(UpdateRow { "update-mp3", "crash-at-plan" }, UpdateRow { "update-mp3", "crash-at-check" },
        UpdateRow { "update-m4a", "crash-at-plan" }, UpdateRow { "update-m4a", "crash-at-check" }),
    rowName);

/// The file is replaced by then: the update is done, whoever says so.
TEST_F(WorkerDeath, BehindTheReplacementAnUpdateIsWhole)
{
    Attempt attempt("update-mp3", "crash-at-answer");
    EXPECT_EQ(attempt.named(m_client), "true");
    EXPECT_FALSE(attempt.isUntouched());
    EXPECT_EQ(attempt.leftBeside(), std::vector<std::string> {});
}

class WorkerMissing : public test::FaultyService, public testing::WithParamInterface<const char*> {
protected:
    WorkerMissing()
        : FaultyService(GetParam())
    {
    }
};

TEST_P(WorkerMissing, NothingIsReadAndEveryCallIsAnError)
{
    for (const AnswerRow& row : AnswerRows) {
        Attempt attempt(row.operation, "good");
        std::string answer = attempt.named(m_client);
        EXPECT_NE(answer.find("no worker"), answer.npos) << row.operation << ": " << answer;
        EXPECT_TRUE(attempt.isUntouched()) << row.operation;
        EXPECT_EQ(attempt.leftBeside(), std::vector<std::string> {}) << row.operation;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, WorkerMissing, testing::Values("thread", "filter", "self-test", "version"),
    [](const auto& row) { return std::string(row.param) == "self-test" ? "selftest" : row.param; });

} // namespace
} // namespace mv
