#include "tests/integration/Attempt.h"
#include "tests/integration/FaultyService.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <csignal>
#include <ctime>
#include <optional>
#include <thread>

// What the service still holds after its work: no descriptor, process or zombie more than before.

namespace mv {
namespace {

/// What a service has at a moment.
struct Holdings {
    std::size_t descriptors = 0;
    std::size_t children = 0;
    std::size_t zombies = 0;
    bool operator==(const Holdings&) const = default;

    static Holdings of(pid_t service)
    {
        std::vector<pid_t> children = test::childrenOf(service);
        return { test::descriptorsOf(service), children.size(),
            static_cast<std::size_t>(std::count_if(children.begin(), children.end(), test::isZombie)) };
    }
};

void PrintTo(const Holdings& holdings, std::ostream* out)
{
    *out << holdings.descriptors << " descriptors, " << holdings.children << " children, " << holdings.zombies
         << " zombies";
}

/// Workers that wait for a client's next call are gone some seconds later, and the spare is there again. Before, the
/// spare's birth may not have been over, which takes a descriptor more.
void expectSoonNoMoreThan(pid_t service, const Holdings& before)
{
    auto isNoMore = [&] {
        const Holdings now = Holdings::of(service);
        return now.descriptors <= before.descriptors && now.children == before.children && now.zombies == 0;
    };
    EXPECT_TRUE(test::eventually(isNoMore))
        << testing::PrintToString(Holdings::of(service)) << " instead of " << testing::PrintToString(before);
}

/// With the spare, once it is born.
Holdings holdingsAtRest(pid_t service)
{
    EXPECT_TRUE(test::eventually([&] { return test::childrenOf(service).size() == 1; }));
    return Holdings::of(service);
}

class Leftovers : public test::RunningService { };

TEST_F(Leftovers, AThousandCallsLeaveNothing)
{
    const Holdings before = holdingsAtRest(m_service.pid());
    std::size_t calls = 0;
    while (calls < 1000) {
        for (const test::AnswerRow& row : test::AnswerRows) {
            std::string answer = test::Attempt(row.operation, "file").named(m_client);
            ASSERT_TRUE(answer.starts_with(row.good)) << row.operation << ": " << answer;
            ++calls;
        }
    }
    expectSoonNoMoreThan(m_service.pid(), before);
}

TEST_F(Leftovers, AWaitingWorkerKeepsLittleOfItsStart)
{
    holdingsAtRest(m_service.pid());
    const pid_t spare = test::childrenOf(m_service.pid()).front();
    constexpr long MostOfItsLibraries = 1024; // KiB
    auto isSmall
        = [&] { return test::statusValue(spare, "VmHWM") - test::statusValue(spare, "VmRSS") > MostOfItsLibraries; };
    EXPECT_TRUE(test::eventually(isSmall)) << test::statusValue(spare, "VmRSS") << " KiB";
    EXPECT_TRUE(test::Attempt("mp3", "file").named(m_client).starts_with("a record"));
}

/// Whoever has taken over what its parent left may not have waited for it yet.
bool hasEnded(pid_t process) { return kill(process, 0) != 0 || test::isZombie(process); }

TEST_F(Leftovers, AKilledServiceLeavesNoWorkers)
{
    for (const char* operation : { "mp3", "movie" })
        test::Attempt(operation, "file").named(m_client);
    std::vector<pid_t> workers = test::childrenOf(m_service.pid());
    EXPECT_GE(workers.size(), 2u);
    kill(m_service.pid(), SIGKILL);
    EXPECT_TRUE(test::eventually([&] { return std::all_of(workers.begin(), workers.end(), hasEnded); }));
}

/// Half a second of the processor, which no birth takes.
bool hasWorkedLong(pid_t process)
{
    clockid_t clock {};
    timespec used {};
    return clock_getcpuclockid(process, &clock) == 0 && clock_gettime(clock, &used) == 0
        && (used.tv_sec > 0 || used.tv_nsec >= 500'000'000);
}

class LeftoversOfASpinningWorker : public test::FaultyService { };

// It has all the time of a job that converts, and does not care whether anybody waits.
TEST_F(LeftoversOfASpinningWorker, AKilledServiceLeavesNone)
{
    test::Attempt attempt("convert-from", "hang-at-job");
    std::thread caller([&attempt] {
        test::BusClient client;
        attempt.named(client);
    });
    std::optional<pid_t> spinning;
    EXPECT_TRUE(test::eventually([&] {
        std::vector<pid_t> workers = test::childrenOf(m_service.pid());
        auto found = std::find_if(workers.begin(), workers.end(), hasWorkedLong);
        if (found != workers.end())
            spinning = *found;
        return spinning.has_value();
    }));
    kill(m_service.pid(), SIGKILL);
    caller.join();
    ASSERT_TRUE(spinning);
    EXPECT_TRUE(test::eventually([&] { return hasEnded(*spinning); }));
    if (!hasEnded(*spinning))
        kill(*spinning, SIGKILL);
}

class LeftoversOfDeaths : public test::FaultyService, public testing::WithParamInterface<const char*> { };

TEST_P(LeftoversOfDeaths, AreNone)
{
    const Holdings before = holdingsAtRest(m_service.pid());
    for (int turn = 0; turn < 5; ++turn) {
        for (const test::AnswerRow& row : test::AnswerRows) {
            std::string answer = test::Attempt(row.operation, GetParam()).named(m_client);
            ASSERT_EQ(answer, row.lost) << row.operation;
        }
    }
    expectSoonNoMoreThan(m_service.pid(), before);
}

INSTANTIATE_TEST_SUITE_P(Every, LeftoversOfDeaths, testing::Values("crash-at-job", "half-at-job"),
    [](const auto& row) { return std::string(row.param).substr(0, 4); });

} // namespace
} // namespace mv
