#include "application/NSConnection.h"

#include "Base/Core/NSException.h"
#include "bus/BusError.h"
#include "tests/support/BusClient.h"
#include "tests/support/Eventually.h"
#include "tests/support/LeavingClient.h"
#include "tests/support/PrivateBus.h"

#include <atomic>
#include <gtest/gtest.h>
#include <set>
#include <thread>

namespace mv {
namespace {

using test::Answer;
using test::BusClient;

std::atomic<int> s_alive = 0;

/// An object with one operation of each shape that matters to the transport.
class Sample final : public ServedObject {
public:
    Sample() { ++s_alive; }
    ~Sample() override { --s_alive; }
    std::span<const ServedInterface> interfaces() const override;

    void echo(Call& call) { call.reply().string(call.arguments().string()); }
    void raise(Call&) { throw NSException("NSInvalidArgumentException", "no such thing"); }
    void fail(Call&) { throw std::runtime_error("broken"); }
    void throwOddly(Call&) { throw 7; }
    void large(Call& call) { call.reply().record({ { "d", Bytes((32u << 20) + 1) } }); }
    void thread(Call& call)
    {
        std::ostringstream text;
        text << std::this_thread::get_id();
        call.reply().string(text.str());
    }
    void slow(Call&)
    {
        EXPECT_EQ(++m_inside, 1) << "one call at a time";
        std::this_thread::sleep_for(std::chrono::milliseconds(20));
        --m_inside;
    }
    void callBack(Call& call)
    {
        RemoteObject client(call.sender(), call.arguments().objectPath(), "Mivo.TestDelegate");
        int sum = 0;
        for (int i = 0; i < 100; ++i) {
            client.call(
                "progress", 5'000'000, [&](WireWriter& out) { out.integer(i); },
                [&](WireReader& in) { sum += in.integer(); });
        }
        call.reply().integer(sum);
    }
    void give(Call& call)
    {
        call.reply().objectPath(call.host().serveForClient(std::make_unique<Sample>(), call.sender()));
    }
    void release(Call& call) { call.host().withdraw(*this); }

private:
    std::atomic<int> m_inside = 0;
};

struct Unheard { };

template <class Exception>
int raisingProperty(sd_bus*, const char*, const char*, const char*, sd_bus_message*, void*, sd_bus_error* error)
{
    return answerGuarded(error, []() -> int { throw Exception(); });
}

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("echo", "s", "s", (servedMethod<Sample, &Sample::echo>), 0),
    SD_BUS_METHOD("raise", "", "", (servedMethod<Sample, &Sample::raise>), 0),
    SD_BUS_METHOD("fail", "", "", (servedMethod<Sample, &Sample::fail>), 0),
    SD_BUS_METHOD("throwOddly", "", "", (servedMethod<Sample, &Sample::throwOddly>), 0),
    SD_BUS_METHOD("large", "", "a{sv}", (servedMethod<Sample, &Sample::large>), 0),
    SD_BUS_METHOD("thread", "", "s", (servedMethod<Sample, &Sample::thread>), 0),
    SD_BUS_METHOD("slow", "", "", (servedMethod<Sample, &Sample::slow>), 0),
    SD_BUS_METHOD("callBack", "o", "i", (servedMethod<Sample, &Sample::callBack>), 0),
    SD_BUS_METHOD("give", "", "o", (servedMethod<Sample, &Sample::give>), 0),
    SD_BUS_METHOD("release", "", "", (servedMethod<Sample, &Sample::release>), 0),
    SD_BUS_PROPERTY("outOfMemory", "s", raisingProperty<std::bad_alloc>, 0, 0),
    SD_BUS_PROPERTY("unheard", "s", raisingProperty<Unheard>, 0, 0),
    SD_BUS_VTABLE_END,
};
constexpr ServedInterface Interfaces[] = { { "Mivo.Test", Members } };

std::span<const ServedInterface> Sample::interfaces() const { return Interfaces; }

int answerProgress(sd_bus_message* message, void* userdata, sd_bus_error*)
{
    static_cast<std::vector<int>*>(userdata)->push_back(WireReader(message).integer());
    return sd_bus_reply_method_return(message, "i", 1);
}

constexpr sd_bus_vtable DelegateMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("progress", "i", "i", answerProgress, 0),
    SD_BUS_VTABLE_END,
};

constexpr const char* Service = "MivoTest_1.0";
constexpr const char* BusName = "MivoTest_1._0";

class NSConnectionTest : public testing::Test {
protected:
    NSConnectionTest()
        : m_connection(NSConnection::serviceConnectionWithName(Service, std::make_unique<Sample>()))
    {
        m_connection->runInNewThread([this] { m_busDied = true; });
    }
    ~NSConnectionTest() override { m_connection.reset(); }

    static Answer call(
        BusClient& client, const char* member, const BusClient::Encode& arguments = {}, const std::string& path = "/")
    {
        return client.call(BusName, path, "Mivo.Test", member, arguments);
    }

    std::atomic<bool> m_busDied = false;
    test::PrivateBus m_bus;
    std::unique_ptr<NSConnection> m_connection;
};

TEST_F(NSConnectionTest, AnswersUnderTheEscapedName)
{
    BusClient client;
    EXPECT_TRUE(client.hasOwner(BusName));
    Answer answer = call(client, "echo", [](WireWriter& out) { out.string("안녕"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().string(), "안녕");
}

TEST_F(NSConnectionTest, ACallMayLeaveTheInterfaceOut)
{
    BusClient client;
    auto callWithout = [&](const char* member, const BusClient::Encode& arguments, const std::string& path = "/") {
        return client.call(BusName, path, "", member, arguments);
    };
    auto text = [](WireWriter& out) { out.string("안녕"); };
    Answer answer = callWithout("echo", text);
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().string(), "안녕");
    EXPECT_EQ(callWithout("echo", {}).error, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(callWithout("nothing", {}).error, "org.freedesktop.DBus.Error.UnknownMethod");
    EXPECT_EQ(callWithout("echo", text, "/elsewhere").error, "org.freedesktop.DBus.Error.UnknownObject");
    EXPECT_EQ(callWithout("raise", {}).error, "Mivo.Exception.NSInvalidArgumentException");
    std::string given = callWithout("give", {}).reader().objectPath();
    EXPECT_TRUE(callWithout("echo", text, given).ok());
    EXPECT_TRUE(callWithout("release", {}, given).ok());
}

TEST_F(NSConnectionTest, ATakenNameYieldsNoConnection)
{
    EXPECT_EQ(NSConnection::serviceConnectionWithName(Service, std::make_unique<Sample>()), nullptr);
    BusClient client;
    EXPECT_TRUE(call(client, "slow").ok()) << "the first one keeps serving";
}

TEST_F(NSConnectionTest, TwoConnectionsHaveTheirOwnNamesAndThreads)
{
    auto second = NSConnection::serviceConnectionWithName("MivoOther_1.0", std::make_unique<Sample>());
    second->runInNewThread();
    BusClient client;
    EXPECT_NE(client.ownerOf(BusName), client.ownerOf("MivoOther_1._0"));
    std::string here = call(client, "thread").reader().string();
    EXPECT_EQ(call(client, "thread").reader().string(), here);
    EXPECT_NE(client.call("MivoOther_1._0", "/", "Mivo.Test", "thread").reader().string(), here);
}

TEST_F(NSConnectionTest, ExceptionsAreAnswered)
{
    BusClient client;
    Answer answer = call(client, "raise");
    EXPECT_EQ(answer.error, "Mivo.Exception.NSInvalidArgumentException");
    EXPECT_EQ(answer.text, "no such thing");
    EXPECT_EQ(call(client, "fail").error, "org.freedesktop.DBus.Error.Failed");
    EXPECT_EQ(call(client, "throwOddly").error, "org.freedesktop.DBus.Error.Failed");
    EXPECT_TRUE(call(client, "slow").ok());
}

TEST_F(NSConnectionTest, ExceptionsOfPropertiesAreAnswered)
{
    BusClient client;
    auto get = [&](const char* property) {
        return client
            .call(BusName, "/", "org.freedesktop.DBus.Properties", "Get",
                [&](WireWriter& out) { out.string("Mivo.Test").string(property); })
            .error;
    };
    EXPECT_EQ(get("outOfMemory"), "org.freedesktop.DBus.Error.NoMemory");
    EXPECT_EQ(get("unheard"), "org.freedesktop.DBus.Error.Failed");
    EXPECT_TRUE(call(client, "slow").ok());
}

TEST_F(NSConnectionTest, WrongArgumentsAndUnknownMembersAreAnswered)
{
    BusClient client;
    Answer wrong = call(client, "echo", [](WireWriter& out) { out.integer(3); });
    EXPECT_EQ(wrong.error, "org.freedesktop.DBus.Error.InvalidArgs");
    EXPECT_EQ(call(client, "nothing").error, "org.freedesktop.DBus.Error.UnknownMethod");
}

TEST_F(NSConnectionTest, AnAnswerAbove32MiBIsRefusedAndTheServiceLives)
{
    BusClient client;
    EXPECT_EQ(call(client, "large").error, "org.freedesktop.DBus.Error.LimitsExceeded");
    EXPECT_TRUE(call(client, "slow").ok());
}

TEST_F(NSConnectionTest, CallsOfSeveralClientsRunOneAtATime)
{
    std::vector<std::thread> threads;
    for (int i = 0; i < 4; ++i) {
        threads.emplace_back([] {
            BusClient client;
            for (int j = 0; j < 5; ++j)
                EXPECT_TRUE(call(client, "slow").ok());
        });
    }
    for (auto& thread : threads)
        thread.join();
}

TEST_F(NSConnectionTest, ADelegateIsCalledInsideACallAndInOrder)
{
    BusClient client;
    std::vector<int> seen;
    sd_bus_slot* slot = nullptr;
    ASSERT_GE(
        sd_bus_add_object_vtable(client.bus(), &slot, "/delegate", "Mivo.TestDelegate", DelegateMembers, &seen), 0);
    BusSlot holder(slot);
    Answer answer = client.callAndServe(
        BusName, "/", "Mivo.Test", "callBack", [](WireWriter& out) { out.objectPath("/delegate"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().integer(), 100);
    ASSERT_EQ(seen.size(), 100u);
    EXPECT_TRUE(std::is_sorted(seen.begin(), seen.end()));
}

TEST_F(NSConnectionTest, AClientThatLeavesInADelegateCallEndsTheCall)
{
    {
        test::LeavingClient leaving("/delegate", "Mivo.TestDelegate");
        sd_bus_message* made = nullptr;
        ASSERT_GE(sd_bus_message_new_method_call(leaving.bus(), &made, BusName, "/", "Mivo.Test", "callBack"), 0);
        BusMessage message(made);
        ASSERT_GE(sd_bus_message_append(made, "o", "/delegate"), 0);
        ASSERT_TRUE(leaving.sendUntilAsked(made)) << "the service never asked";
    }
    // One call at a time: this one is answered when the other has ended.
    BusClient client;
    EXPECT_TRUE(call(client, "slow").ok()) << "the service goes on";
}

TEST_F(NSConnectionTest, AnObjectForAClientLivesUntilReleased)
{
    BusClient client;
    ASSERT_EQ(s_alive, 1);
    std::string path = call(client, "give").reader().objectPath();
    EXPECT_NE(path, "/");
    EXPECT_EQ(s_alive, 2);
    EXPECT_EQ(call(
                  client, "echo", [](WireWriter& out) { out.string("x"); }, path)
                  .reader()
                  .string(),
        "x");
    EXPECT_TRUE(call(client, "release", {}, path).ok());
    EXPECT_FALSE(call(client, "slow", {}, path).ok()) << "gone from the bus";
    EXPECT_EQ(s_alive, 1);
}

TEST_F(NSConnectionTest, ObjectsForAClientGoWhenItLeavesTheBus)
{
    {
        BusClient client;
        std::set<std::string> paths;
        for (int i = 0; i < 50; ++i)
            paths.insert(call(client, "give").reader().objectPath());
        EXPECT_EQ(paths.size(), 50u);
        EXPECT_EQ(s_alive, 51);
    }
    for (int i = 0; i < 1000 && s_alive != 1; ++i)
        usleep(5'000);
    EXPECT_EQ(s_alive, 1);
}

TEST_F(NSConnectionTest, InvalidateGivesTheNameUp)
{
    BusClient client;
    m_connection->invalidate();
    EXPECT_FALSE(client.hasOwner(BusName));
    auto again = NSConnection::serviceConnectionWithName(Service, std::make_unique<Sample>());
    EXPECT_NE(again, nullptr);
}

TEST_F(NSConnectionTest, InvalidateLosesNoCallThatHasArrived)
{
    std::atomic<int> answered = 0;
    std::atomic<int> lost = 0;
    std::thread caller([&] {
        BusClient client;
        for (int i = 0; i < 400; ++i) {
            Answer answer = call(client, "echo", [](WireWriter& out) { out.string("x"); });
            if (answer.ok())
                ++answered;
            else if (answer.error == "org.freedesktop.DBus.Error.NoReply")
                ++lost;
        }
    });
    for (int i = 0; i < 10; ++i) {
        usleep(2'000);
        m_connection->invalidate();
        m_connection = NSConnection::serviceConnectionWithName(Service, std::make_unique<Sample>());
        ASSERT_NE(m_connection, nullptr);
        m_connection->runInNewThread();
    }
    caller.join();
    EXPECT_GT(answered, 0);
    EXPECT_EQ(lost, 0);
}

TEST_F(NSConnectionTest, BusDeathEndsTheLoopAndIsTold)
{
    m_bus.kill();
    for (int i = 0; i < 1000 && !m_busDied; ++i)
        usleep(5'000);
    EXPECT_TRUE(m_busDied);
}

TEST_F(NSConnectionTest, RemoteLookupFindsPublishedNamesOnly)
{
    std::thread([] {
        EXPECT_EQ(NSRemoteConnection::connectionWithRegisteredName("MivoNobody_1.0"), nullptr);
        auto connection = NSRemoteConnection::connectionWithRegisteredName(Service);
        ASSERT_NE(connection, nullptr);
        RemoteObject root = connection->rootProxy("Test");
        std::string echoed;
        root.call(
            "echo", CallWithoutTimeout, [](WireWriter& out) { out.string("hello"); },
            [&](WireReader& in) { echoed = in.string(); });
        EXPECT_EQ(echoed, "hello");
        try {
            root.call("raise", CallWithoutTimeout);
            ADD_FAILURE() << "no exception";
        } catch (const NSException& exception) {
            EXPECT_EQ(exception.name(), "NSInvalidArgumentException");
            EXPECT_EQ(exception.reason(), "no such thing");
        }
        EXPECT_THROW(root.call("fail", CallWithoutTimeout), BusError);
    }).join();
}

std::size_t connectionsOnTheBus(BusClient& client)
{
    Answer answer
        = client.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ListNames", {});
    char** names = nullptr;
    sd_bus_message_read_strv(answer.message.get(), &names);
    std::size_t count = 0;
    for (char** name = names; *name; free(*name++))
        count += **name == ':';
    free(names);
    return count;
}

/// The bus learns a moment later that a connection was closed.
bool becomes(BusClient& client, std::size_t connections)
{
    return test::eventually([&] { return connectionsOnTheBus(client) == connections; });
}

TEST_F(NSConnectionTest, ARemoteConnectionLeavesTheBusWhenItIsInvalidated)
{
    BusClient client;
    std::size_t before = connectionsOnTheBus(client);
    EXPECT_EQ(NSRemoteConnection::connectionWithRegisteredName("MivoNobody_1.0"), nullptr);
    EXPECT_TRUE(becomes(client, before)) << "a lookup that found nobody";
    auto connection = NSRemoteConnection::connectionWithRegisteredName(Service);
    ASSERT_NE(connection, nullptr);
    RemoteObject root = connection->rootProxy("Test");
    root.call("slow", CallWithoutTimeout);
    EXPECT_EQ(connectionsOnTheBus(client), before + 1);
    connection->invalidate();
    EXPECT_TRUE(becomes(client, before));
    EXPECT_THROW(root.call("slow", CallWithoutTimeout), BusError);
    EXPECT_THROW(connection->rootProxy("Test").call("slow", CallWithoutTimeout), BusError);
}

TEST(NSConnectionWithoutBus, NothingCanBePublished)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_EQ(NSConnection::serviceConnectionWithName(Service, std::make_unique<Sample>()), nullptr);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

} // namespace
} // namespace mv
