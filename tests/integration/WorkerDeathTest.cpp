#include "tests/integration/FaultyService.h"
#include "tests/integration/Operations.h"

#include <algorithm>
#include <atomic>
#include <filesystem>
#include <thread>

// Workers that crash, lie, say nothing or take all memory, in each operation of each service: the call has the answer
// that is promised for a file of which nothing is known, the next one has its own, another client notices nothing, and
// nothing is left.

namespace mv {
namespace {

using test::Operation;

/// What a call has for an answer when its worker is lost.
struct Row {
    const char* operation;
    const char* lost;
};

constexpr Row Rows[] = {
    { "movie", "nil" },
    { "mp3", "nil" },
    { "mp4", "nil" },
    { "audio", "nil" },
    { "image", "nil" },
    { "thumbnail", "nil" },
    { "exif", "nil" },
};

Operation operationOf(std::string_view name)
{
    auto find = [](std::string_view wanted) {
        return *std::find_if(test::operations().begin(), test::operations().end(),
            [&](const Operation& each) { return each.name == wanted; });
    };
    Operation operation = find(name);
    if (name == "export-from") { // of something that can be exported
        operation.content = find("movie").content;
        operation.extension = ".m4a";
    }
    return operation;
}

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
                Operation one = operationOf(name);
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

/// An operation in a folder of its own: with a file whose name is a wish, and with one without.
class Attempt {
public:
    Attempt(std::string_view operation, const std::string& wish)
        : m_operation(operationOf(operation))
        , m_wished(m_folder.write("wished/" + wish + m_operation.extension, m_operation.content()))
        , m_good(m_folder.write("good/good" + std::string(m_operation.extension), m_operation.content()))
    {
    }

    std::string wished(test::BusClient& client) { return perform(client, m_wished); }
    std::string good(test::BusClient& client) { return perform(client, m_good); }
    const std::string& path() const { return m_wished; }
    bool isUntouched() const { return test::readFile(m_wished) == m_operation.content(); }
    std::vector<std::string> leftBeside() const
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(m_folder.file("wished"))) {
            if (entry.path() != m_wished)
                names.push_back(entry.path().filename());
        }
        return names;
    }

private:
    std::string perform(test::BusClient& client, const std::string& path)
    {
        auto answer
            = client.call(m_operation.service, "/", m_operation.interface, m_operation.member, [&](WireWriter& out) {
                  m_operation.arguments(out, path, std::filesystem::path(path).parent_path() / "output.m4a");
              });
        return answer.ok() ? m_operation.value(answer.reader()) : answer.error + ": " + answer.text;
    }

    Operation m_operation;
    test::ScratchFolder m_folder;
    std::string m_wished;
    std::string m_good;
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
    void expectOneCallLost(const Row& row, const std::string& wish, test::BusClient& client)
    {
        Attempt attempt(row.operation, wish);
        EXPECT_EQ(attempt.wished(client), row.lost) << row.operation;
        EXPECT_TRUE(attempt.isUntouched()) << row.operation;
        EXPECT_EQ(attempt.leftBeside(), std::vector<std::string> {}) << row.operation;
        EXPECT_EQ(timesIn(m_service.log(), attempt.path()), 1u) << row.operation << ": " << m_service.log();
        std::string next = attempt.good(client);
        EXPECT_TRUE(isGood(row, next)) << row.operation << ": " << next;
    }

    static bool isGood(const Row& row, const std::string& answer)
    {
        std::string_view name = row.operation;
        if (name == "exif" || name == "podcast") // whose files have neither
            return answer == "nil" || answer.starts_with("a record") || answer == "an object";
        return name.starts_with("update")                     ? answer == "true"
            : name == "alac"                                  ? answer == "false"
            : name == "encode-from"                           ? answer == "true"
            : name == "convert-from" || name == "export-from" ? answer == "0"
                                                              : answer.starts_with("a record");
    }
};

class WorkerDeathBy : public WorkerDeath, public testing::WithParamInterface<const char*> { };

TEST_P(WorkerDeathBy, CostsItsOwnCall)
{
    Bystander bystander;
    for (const Row& row : Rows)
        expectOneCallLost(row, std::string(GetParam()) + "-at-job", m_client);
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
    EXPECT_GT(bystander.calls(), 0);
}

std::string nameOf(const testing::TestParamInfo<const char*>& row) { return row.param; }

INSTANTIATE_TEST_SUITE_P(Every, WorkerDeathBy,
    testing::Values("crash", "abort", "trap", "leave", "garbage", "turn", "kind", "length", "half"), nameOf);

/// Each waits until its deadline, so all do at once; `make faults` runs these.
class WorkerAtDeadline : public WorkerDeath, public testing::WithParamInterface<const char*> { };

TEST_P(WorkerAtDeadline, DISABLED_CostsItsOwnCall)
{
    Bystander bystander;
    std::vector<std::thread> clients;
    for (const Row& row : Rows) {
        clients.emplace_back([&, this] {
            test::BusClient client;
            expectOneCallLost(row, std::string(GetParam()) + "-at-job", client);
        });
    }
    for (std::thread& client : clients)
        client.join();
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
    EXPECT_GT(bystander.calls(), 0);
}

INSTANTIATE_TEST_SUITE_P(Every, WorkerAtDeadline, testing::Values("hang", "silence"), nameOf);

TEST_F(WorkerDeath, WithoutMemoryACallFailsAndTheNextOneDoesNot)
{
    Bystander bystander;
    for (const Row& row : Rows) {
        Attempt attempt(row.operation, "memory-at-job");
        attempt.wished(m_client);
        std::string next = attempt.good(m_client);
        EXPECT_TRUE(isGood(row, next)) << row.operation << ": " << next;
    }
    bystander.end();
    EXPECT_EQ(bystander.failures(), 0);
}

TEST_F(WorkerDeath, AWorkerThatTalksTooMuchFillsNoLog)
{
    Attempt attempt("mp3", "chatter-at-job");
    EXPECT_EQ(attempt.wished(m_client), attempt.good(m_client));
    EXPECT_LT(timesIn(m_service.log(), "\n"), 1100u);
}

TEST_F(WorkerDeath, AFileThatEndedAWorkerEndsNoOther)
{
    Attempt attempt("mp3", "crash-at-job");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(attempt.wished(m_client), "nil");
    EXPECT_EQ(timesIn(m_service.log(), "was lost"), 1u) << m_service.log();
}

TEST_F(WorkerDeath, AFolderOfPoisonIsScannedTwiceAndEndsWorkersOnce)
{
    constexpr std::size_t Count = 1000;
    test::ScratchFolder folder;
    for (std::size_t i = 0; i < Count; ++i)
        folder.write("crash-at-job " + std::to_string(i) + ".mp3", test::song());
    std::string name = operationOf("mp3").service;
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

class WorkerMissing : public test::FaultyService, public testing::WithParamInterface<const char*> {
protected:
    WorkerMissing()
        : FaultyService(GetParam())
    {
    }
};

TEST_P(WorkerMissing, NothingIsReadAndEveryCallIsAnError)
{
    for (const Row& row : Rows) {
        Attempt attempt(row.operation, "good");
        std::string answer = attempt.wished(m_client);
        EXPECT_NE(answer.find("no worker"), answer.npos) << row.operation << ": " << answer;
        EXPECT_TRUE(attempt.isUntouched()) << row.operation;
        EXPECT_EQ(attempt.leftBeside(), std::vector<std::string> {}) << row.operation;
    }
}

INSTANTIATE_TEST_SUITE_P(Every, WorkerMissing, testing::Values("thread", "filter", "self-test"),
    [](const auto& row) { return std::string(row.param) == "self-test" ? "selftest" : row.param; });

} // namespace
} // namespace mv
