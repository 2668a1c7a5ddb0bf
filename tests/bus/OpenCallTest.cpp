#include "bus/BusError.h"
#include "bus/ServiceLoop.h"
#include "tests/support/BusClient.h"
#include "tests/support/PrivateBus.h"

#include <atomic>
#include <gtest/gtest.h>
#include <thread>

// Calls that an operation keeps open, and that are answered later, from another thread.

namespace mv {
namespace {

constexpr const char* BusName = "Mivo.OpenCalls";
constexpr const char* Place = "/Mivo/OpenCalls";
constexpr const char* Interface = "Mivo.OpenCalls";

/// Keeps every call open and leaves the answers to the test.
class Keeper final : public ServedObject {
public:
    std::span<const ServedInterface> interfaces() const override;
    const char* rootPath() const override { return Place; }

    void later(Call& call)
    {
        last = call.keepOpen([this] { ++dropped; });
        ++kept;
    }
    void now(Call& call) { call.reply().integer(7); }

    std::atomic<CallNumber> last = 0;
    std::atomic<int> kept = 0;
    std::atomic<int> dropped = 0;
};

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("later", "", "i", (servedMethod<Keeper, &Keeper::later>), 0),
    SD_BUS_METHOD("now", "", "i", (servedMethod<Keeper, &Keeper::now>), 0),
    SD_BUS_VTABLE_END,
};
constexpr ServedInterface Interfaces[] { { Interface, Members } };

std::span<const ServedInterface> Keeper::interfaces() const { return Interfaces; }

class OpenCallTest : public testing::Test {
protected:
    OpenCallTest()
    {
        auto keeper = std::make_unique<Keeper>();
        m_keeper = keeper.get();
        auto loop = ServiceLoop::publish(BusName, std::move(keeper));
        m_loop = loop ? std::move(*loop) : nullptr;
    }
    void SetUp() override
    {
        ASSERT_NE(m_loop, nullptr);
        m_loop->start({});
    }

    static test::Answer call(test::BusClient& client, const char* member)
    {
        return client.call(BusName, Place, Interface, member);
    }
    /// Sends the call and leaves its answer, if any, to `pending`.
    struct Pending {
        bool isDone = false;
        std::string error;
        int number = 0;
    };
    static BusSlot sendLater(test::BusClient& client, Pending& pending)
    {
        sd_bus_slot* slot = nullptr;
        auto answered = [](sd_bus_message* reply, void* userdata, sd_bus_error*) {
            auto& result = *static_cast<Pending*>(userdata);
            const sd_bus_error* error = sd_bus_message_get_error(reply);
            result.error = error ? error->name : "";
            result.number = error ? 0 : WireReader(reply).integer();
            result.isDone = true;
            return 1;
        };
        EXPECT_GE(sd_bus_call_method_async(
                      client.bus(), &slot, BusName, Place, Interface, "later", answered, &pending, nullptr),
            0);
        sd_bus_flush(client.bus());
        return BusSlot(slot);
    }
    CallNumber awaitKept(int count)
    {
        EXPECT_TRUE(test::eventually([&] { return m_keeper->kept == count; }));
        return m_keeper->last;
    }

    test::PrivateBus m_bus;
    std::unique_ptr<ServiceLoop> m_loop;
    Keeper* m_keeper = nullptr;
};

TEST_F(OpenCallTest, OthersAreAnsweredMeanwhile)
{
    test::BusClient client;
    Pending pending;
    BusSlot slot = sendLater(client, pending);
    CallNumber number = awaitKept(1);
    test::BusClient other;
    EXPECT_EQ(call(other, "now").reader().integer(), 7);
    EXPECT_EQ(call(client, "now").reader().integer(), 7) << "the same client's, too";
    EXPECT_FALSE(pending.isDone);
    m_loop->answer(number, [](WireWriter& out) { out.integer(42); });
    client.serveUntil([&] { return pending.isDone; });
    EXPECT_EQ(pending.number, 42);
    EXPECT_EQ(m_keeper->dropped, 0);
}

TEST_F(OpenCallTest, WhatPackingThrowsIsTheAnswer)
{
    test::BusClient client;
    Pending pending;
    BusSlot slot = sendLater(client, pending);
    m_loop->answer(awaitKept(1), [](WireWriter& out) {
        out.integer(1);
        throw BusError("Mivo.Test.Error", "no such thing");
    });
    client.serveUntil([&] { return pending.isDone; });
    EXPECT_EQ(pending.error, "Mivo.Test.Error");
}

TEST_F(OpenCallTest, ASecondAnswerIsNone)
{
    test::BusClient client;
    Pending pending;
    BusSlot slot = sendLater(client, pending);
    CallNumber number = awaitKept(1);
    m_loop->answer(number, [](WireWriter& out) { out.integer(1); });
    m_loop->answer(number, [](WireWriter& out) { out.integer(2); });
    client.serveUntil([&] { return pending.isDone; });
    EXPECT_EQ(pending.number, 1);
    EXPECT_EQ(call(client, "now").reader().integer(), 7);
}

TEST_F(OpenCallTest, AClientThatLeavesGivesItsCallsUp)
{
    test::BusClient stays;
    Pending pending;
    BusSlot slot = sendLater(stays, pending);
    CallNumber kept = awaitKept(1);
    {
        test::BusClient leaves;
        Pending first;
        Pending second;
        BusSlot slots[] = { sendLater(leaves, first), sendLater(leaves, second) };
        awaitKept(3);
    }
    EXPECT_TRUE(test::eventually([&] { return m_keeper->dropped == 2; }));
    m_loop->answer(m_keeper->last, [](WireWriter& out) { out.integer(1); });
    m_loop->answer(kept, [](WireWriter& out) { out.integer(42); });
    stays.serveUntil([&] { return pending.isDone; });
    EXPECT_EQ(pending.number, 42);
    EXPECT_EQ(m_keeper->dropped, 2);
}

TEST_F(OpenCallTest, StoppingWaitsForAnswers)
{
    test::BusClient client;
    Pending pending;
    BusSlot slot = sendLater(client, pending);
    CallNumber number = awaitKept(1);
    std::thread stopping([&] { m_loop->stop(); });
    EXPECT_TRUE(client.waitForOwner(BusName, false));
    m_loop->answer(number, [](WireWriter& out) { out.integer(42); });
    stopping.join();
    client.serveUntil([&] { return pending.isDone; });
    EXPECT_EQ(pending.number, 42);
}

} // namespace
} // namespace mv
