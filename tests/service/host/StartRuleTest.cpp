#include "service/host/StartRule.h"

#include "tests/support/BusClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateBus.h"

#include <array>
#include <gtest/gtest.h>
#include <thread>

namespace mv {
namespace {

using namespace std::chrono_literals;

constexpr std::array<std::string_view, 3> Services { "MivoFirst_1.0", "MivoSecond_1.0", "MivoThird_1.0" };
constexpr std::array BusNames { "MivoFirst_1._0", "MivoSecond_1._0", "MivoThird_1._0" };
constexpr std::array<std::string_view, 1> More { "Mivo.More" };
// Never reached but where a test is about to.
constexpr StartPatience Long { .lock = test::Patience, .names = test::Patience };
constexpr StartPatience Short { .lock = 20ms, .names = 20ms };

class StartRule : public testing::Test {
protected:
    std::unique_ptr<QueuedName> lock()
    {
        auto name = QueuedName::request(HostLockName);
        return name ? std::move(*name) : nullptr;
    }
    void take(const char* name) { ASSERT_GE(sd_bus_request_name(m_holder.bus(), name, 0), 0); }
    void takeAll()
    {
        for (const char* name : BusNames)
            take(name);
    }
    void giveUpAll()
    {
        for (const char* name : BusNames)
            sd_bus_release_name(m_holder.bus(), name);
    }

    test::LogCapture m_log;
    test::PrivateBus m_bus;
    test::BusClient m_holder;
};

TEST_F(StartRule, WithTheLockAndFreeNamesItPublishes)
{
    EXPECT_EQ(decideStart(*lock(), { Services }, Long), StartDecision::Publish);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(StartRule, WhereAllIsServedThereIsNothingToDo)
{
    takeAll();
    EXPECT_EQ(decideStart(*lock(), { Services }, Long), StartDecision::AlreadyServed);
    auto first = lock();
    EXPECT_EQ(decideStart(*lock(), { Services }, Long), StartDecision::AlreadyServed) << "nor without the lock";
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(StartRule, WhoWaitsForTheLockIsContentWithAllNames)
{
    auto first = lock();
    auto second = lock();
    std::jthread publisher([&] { takeAll(); });
    EXPECT_EQ(decideStart(*second, { Services }, Long), StartDecision::AlreadyServed);
    EXPECT_FALSE(second->isOurs());
}

TEST_F(StartRule, WhoWaitsForTheLockPublishesWhenTheOtherHasLeft)
{
    auto first = lock();
    auto second = lock();
    take(BusNames[1]);
    std::jthread leaver([&] {
        giveUpAll();
        first->release();
    });
    EXPECT_EQ(decideStart(*second, { Services }, Long), StartDecision::Publish);
}

TEST_F(StartRule, OneThatLeavesWithoutTheLockIsWaitedFor)
{
    take(BusNames[0]);
    auto own = lock();
    std::jthread leaver([&] { giveUpAll(); });
    EXPECT_EQ(decideStart(*own, { Services }, Long), StartDecision::Publish);
}

TEST_F(StartRule, AStrangersNameIsAnErrorThatSaysWhose)
{
    take(BusNames[1]);
    EXPECT_EQ(decideStart(*lock(), { Services }, Short), StartDecision::Held);
    ASSERT_EQ(m_log.lines().size(), 1u);
    EXPECT_TRUE(m_log.lines()[0].starts_with("MivoSecond_1._0 is taken by process " + std::to_string(getpid())))
        << m_log.lines()[0];
}

TEST_F(StartRule, ANameMoreThatIsMissingIsNotServed)
{
    takeAll();
    EXPECT_EQ(decideStart(*lock(), { Services, More }, Short), StartDecision::Held)
        << "whoever called it would wait for nobody";
    take("Mivo.More");
    EXPECT_EQ(decideStart(*lock(), { Services, More }, Long), StartDecision::AlreadyServed);
}

TEST_F(StartRule, ANameMoreThatAStrangerHasIsDoneWithout)
{
    take("Mivo.More");
    EXPECT_EQ(decideStart(*lock(), { Services, More }, Short), StartDecision::Publish);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(StartRule, AStartThatDoesNotComeToAnEndIsAnError)
{
    auto first = lock();
    EXPECT_EQ(decideStart(*lock(), { Services }, Short), StartDecision::Held);
    EXPECT_EQ(m_log.lines().size(), 1u);
}

} // namespace
} // namespace mv
