#include "bus/QueuedName.h"

#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

constexpr const char* Name = "Mivo.Queue";

std::unique_ptr<QueuedName> request()
{
    auto name = QueuedName::request(Name);
    return name ? std::move(*name) : nullptr;
}

QueuedName::Clock::time_point soon() { return QueuedName::Clock::now() + test::Patience; }

TEST(QueuedName, IsTheFirstOnesUntilItGivesItUp)
{
    test::PrivateBus bus;
    auto first = request();
    auto second = request();
    ASSERT_TRUE(first && second);
    EXPECT_TRUE(first->isOurs());
    EXPECT_FALSE(second->isOurs());
    first->release();
    EXPECT_FALSE(first->isOurs());
    EXPECT_TRUE(second->waitUntil([&] { return second->isOurs(); }, soon()));
}

TEST(QueuedName, IsLostWithItsHolder)
{
    test::PrivateBus bus;
    auto first = request();
    auto second = request();
    auto third = request();
    ASSERT_TRUE(first && second && third);
    second.reset();
    first.reset();
    EXPECT_TRUE(third->waitUntil([&] { return third->isOurs(); }, soon()));
}

TEST(QueuedName, WaitsForOtherNamesToo)
{
    test::PrivateBus bus;
    auto first = request();
    auto second = request();
    ASSERT_TRUE(first && second);
    test::BusClient other;
    auto isThere = [&] { return other.hasOwner("Mivo.Other"); };
    EXPECT_FALSE(second->waitUntil(isThere, QueuedName::Clock::now()));
    ASSERT_GE(sd_bus_request_name(other.bus(), "Mivo.Other", 0), 0);
    EXPECT_TRUE(second->waitUntil(isThere, soon()));
    EXPECT_FALSE(second->isOurs());
}

TEST(QueuedName, FailsWithoutABus)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_FALSE(QueuedName::request(Name).ok());
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

TEST(QueuedName, WaitingEndsWithTheBus)
{
    test::PrivateBus bus;
    auto name = request();
    ASSERT_TRUE(name);
    bus.kill();
    EXPECT_FALSE(name->waitUntil([] { return false; }, soon()));
}

} // namespace
} // namespace mv
