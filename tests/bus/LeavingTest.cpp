#include "bus/RemoteObject.h"
#include "bus/ServiceLoop.h"
#include "tests/support/BusClient.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateBus.h"

#include <atomic>
#include <gtest/gtest.h>
#include <memory>
#include <thread>

// A service whose name is given up while calls are in progress, and what keeps it from being idle.

namespace mv {
namespace {

constexpr const char* BusName = "Mivo.Leaving";
constexpr const char* Interface = "Mivo.Leaving";

/// Does what the test lets it do.
class Worker final : public ServedObject {
public:
    std::span<const ServedInterface> interfaces() const override;

    void work(Call& call)
    {
        ++begun;
        test::eventually([&] { return mayEnd.load(); });
        call.reply().integer(7);
    }
    /// Asks an object of the caller's, which does not answer.
    void askBack(Call& call)
    {
        ++begun;
        try {
            RemoteObject(call.sender(), "/", Interface).call("silent", CallWithoutTimeout);
        } catch (const std::exception&) {
            ++lost;
        }
    }
    void keep(Call& call) { call.host().keepForClient("thing", call.sender()); }
    void keepNothing(Call& call) { call.host().keepForClient("thing", {}); }
    void handOut(Call& call)
    {
        call.reply().objectPath(call.host().serveForClient(std::make_unique<Worker>(), call.sender()));
    }
    void release(Call& call) { call.host().withdraw(*this); }

    std::atomic<int> begun = 0;
    std::atomic<int> lost = 0;
    std::atomic<bool> mayEnd = false;
};

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("work", "", "i", (servedMethod<Worker, &Worker::work>), 0),
    SD_BUS_METHOD("askBack", "", "", (servedMethod<Worker, &Worker::askBack>), 0),
    SD_BUS_METHOD("keep", "", "", (servedMethod<Worker, &Worker::keep>), 0),
    SD_BUS_METHOD("keepNothing", "", "", (servedMethod<Worker, &Worker::keepNothing>), 0),
    SD_BUS_METHOD("handOut", "", "o", (servedMethod<Worker, &Worker::handOut>), 0),
    SD_BUS_METHOD("release", "", "", (servedMethod<Worker, &Worker::release>), 0),
    SD_BUS_VTABLE_END,
};
constexpr ServedInterface Interfaces[] { { Interface, Members } };

std::span<const ServedInterface> Worker::interfaces() const { return Interfaces; }

class Leaving : public testing::Test {
protected:
    Leaving()
    {
        auto worker = std::make_unique<Worker>();
        m_worker = worker.get();
        auto loop = ServiceLoop::publish(BusName, std::move(worker), &m_activity);
        m_loop = loop ? std::move(*loop) : nullptr;
    }
    void SetUp() override
    {
        ASSERT_NE(m_loop, nullptr);
        m_loop->start({});
    }
    ~Leaving() override { m_worker->mayEnd = true; }

    /// Sends a call whose answer, or error, is put into `answer`.
    BusSlot send(test::BusClient& client, const char* member, BusMessage& answer)
    {
        sd_bus_slot* slot = nullptr;
        auto keep = [](sd_bus_message* message, void* userdata, sd_bus_error*) {
            static_cast<BusMessage*>(userdata)->reset(sd_bus_message_ref(message));
            return 0;
        };
        EXPECT_GE(
            sd_bus_call_method_async(client.bus(), &slot, BusName, "/", Interface, member, keep, &answer, nullptr), 0);
        sd_bus_flush(client.bus());
        return BusSlot(slot);
    }

    test::LogCapture m_log;
    test::PrivateBus m_bus;
    Activity m_activity;
    Worker* m_worker;
    std::unique_ptr<ServiceLoop> m_loop;
    test::BusClient m_client;
};

TEST_F(Leaving, TheNameIsFreeInTheMiddleOfACallAndWhatHadComeIsAnswered)
{
    BusMessage first;
    BusMessage second;
    test::BusClient other;
    BusSlot firstCall = send(m_client, "work", first);
    ASSERT_TRUE(test::eventually([&] { return m_worker->begun == 1; }));
    BusSlot secondCall = send(other, "work", second);
    // The bus has passed it on when it answers the same client.
    EXPECT_TRUE(other.hasOwner(BusName));
    m_loop->giveNameUp();
    EXPECT_FALSE(m_client.hasOwner(BusName));
    EXPECT_GE(sd_bus_request_name(m_client.bus(), BusName, 0), 0) << "another may have it";
    EXPECT_EQ(first, nullptr);
    m_worker->mayEnd = true;
    m_client.serveUntil([&] { return first != nullptr; });
    other.serveUntil([&] { return second != nullptr; });
    EXPECT_FALSE(sd_bus_message_is_method_error(first.get(), nullptr));
    EXPECT_FALSE(sd_bus_message_is_method_error(second.get(), nullptr));
}

TEST_F(Leaving, AStreamOfCallsDoesNotKeepTheName)
{
    std::atomic<bool> isOver = false;
    std::jthread caller([&] {
        test::BusClient client;
        while (!isOver)
            client.call(BusName, "/", "org.freedesktop.DBus.Peer", "Ping");
    });
    m_loop->giveNameUp();
    EXPECT_FALSE(m_client.hasOwner(BusName));
    isOver = true;
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(Leaving, ACallThatWaitsForItsClientDoesNotKeepTheName)
{
    BusMessage answer;
    BusSlot call = send(m_client, "askBack", answer);
    ASSERT_TRUE(test::eventually([&] { return m_worker->begun == 1; }));
    m_loop->giveNameUp();
    test::BusClient other;
    EXPECT_TRUE(other.waitForOwner(BusName, false));
    EXPECT_TRUE(test::eventually([&] { return m_worker->lost == 1; }));
    ASSERT_FALSE(m_log.lines().empty());
    EXPECT_EQ(
        m_log.lines()[0], "Mivo.Leaving is given up in the middle of a call: the caller's delegate does not answer");
}

TEST_F(Leaving, ACallIsWork)
{
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
    BusMessage answer;
    BusSlot call = send(m_client, "work", answer);
    ASSERT_TRUE(test::eventually([&] { return m_worker->begun == 1; }));
    EXPECT_TRUE(m_activity.isWorking());
    EXPECT_FALSE(m_activity.idleSince());
    m_worker->mayEnd = true;
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
}

TEST_F(Leaving, AnObjectThatWasHandedOutIsKeptUntilItIsReleased)
{
    test::Answer answer = m_client.call(BusName, "/", Interface, "handOut");
    ASSERT_TRUE(answer.ok());
    std::string path = answer.reader().objectPath();
    EXPECT_TRUE(test::eventually([&] { return !m_activity.isWorking(); }));
    EXPECT_FALSE(m_activity.idleSince());
    EXPECT_TRUE(m_client.call(BusName, path, Interface, "release").ok());
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
}

TEST_F(Leaving, WhatIsKeptForAClientEndsWithTheClient)
{
    auto client = std::make_unique<test::BusClient>();
    ASSERT_TRUE(client->call(BusName, "/", Interface, "keep").ok());
    ASSERT_TRUE(client->call(BusName, "/", Interface, "keep").ok()) << "a second time is the same";
    EXPECT_TRUE(test::eventually([&] { return !m_activity.isWorking(); }));
    EXPECT_FALSE(m_activity.idleSince());
    client.reset();
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
}

TEST_F(Leaving, WhatIsKeptForAClientEndsWhenItIsTakenBack)
{
    ASSERT_TRUE(m_client.call(BusName, "/", Interface, "keep").ok());
    EXPECT_TRUE(test::eventually([&] { return !m_activity.isWorking(); }));
    EXPECT_FALSE(m_activity.idleSince());
    ASSERT_TRUE(m_client.call(BusName, "/", Interface, "keepNothing").ok());
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
}

TEST_F(Leaving, WhatIsKeptIsTheLastClients)
{
    auto other = std::make_unique<test::BusClient>();
    ASSERT_TRUE(m_client.call(BusName, "/", Interface, "keep").ok());
    ASSERT_TRUE(other->call(BusName, "/", Interface, "keep").ok());
    EXPECT_TRUE(test::eventually([&] { return !m_activity.isWorking(); }));
    EXPECT_FALSE(m_activity.idleSince());
    other.reset();
    EXPECT_TRUE(test::eventually([&] { return m_activity.idleSince().has_value(); }));
}

} // namespace
} // namespace mv
