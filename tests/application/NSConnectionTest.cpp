#include "tests/application/ServedSample.h"

#include "tests/support/LeavingClient.h"

#include <algorithm>
#include <set>
#include <vector>

namespace mv {
namespace {

using test::Answer;
using test::BusClient;
using test::Sample;
using test::SampleBusName;
using test::SampleService;

class NSConnectionTest : public test::ServedSample { };

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

TEST_F(NSConnectionTest, AnswersUnderTheEscapedName)
{
    BusClient client;
    EXPECT_TRUE(client.hasOwner(SampleBusName));
    Answer answer = call(client, "echo", [](WireWriter& out) { out.string("안녕"); });
    ASSERT_TRUE(answer.ok()) << answer.text;
    EXPECT_EQ(answer.reader().string(), "안녕");
}

TEST_F(NSConnectionTest, ACallMayLeaveTheInterfaceOut)
{
    BusClient client;
    auto callWithout = [&](const char* member, const BusClient::Encode& arguments, const std::string& path = "/") {
        return client.call(SampleBusName, path, "", member, arguments);
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
    EXPECT_EQ(NSConnection::serviceConnectionWithName(SampleService, std::make_unique<Sample>()), nullptr);
    BusClient client;
    EXPECT_TRUE(call(client, "slow").ok()) << "the first one keeps serving";
}

TEST_F(NSConnectionTest, TwoConnectionsHaveTheirOwnNamesAndThreads)
{
    auto second = NSConnection::serviceConnectionWithName("MivoOther_1.0", std::make_unique<Sample>());
    second->runInNewThread();
    BusClient client;
    EXPECT_NE(client.ownerOf(SampleBusName), client.ownerOf("MivoOther_1._0"));
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
            .call(SampleBusName, "/", "org.freedesktop.DBus.Properties", "Get",
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

TEST_F(NSConnectionTest, ACallKnowsWhoseItIs)
{
    BusClient one, other;
    auto nameOf = [](BusClient& client) {
        const char* name = nullptr;
        sd_bus_get_unique_name(client.bus(), &name);
        return std::string(name);
    };
    for (BusClient* client : { &one, &other, &one }) {
        EXPECT_EQ(call(*client, "caller").reader().string(), nameOf(*client));
        EXPECT_FALSE(call(*client, "raise").ok()); // a call that was left by an exception is over, too
    }
    EXPECT_EQ(callingClient(), "") << "outside of a call";
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
        SampleBusName, "/", "Mivo.Test", "callBack", [](WireWriter& out) { out.objectPath("/delegate"); });
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
        ASSERT_GE(sd_bus_message_new_method_call(leaving.bus(), &made, SampleBusName, "/", "Mivo.Test", "callBack"), 0);
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
    ASSERT_EQ(Sample::alive, 1);
    std::string path = call(client, "give").reader().objectPath();
    EXPECT_NE(path, "/");
    EXPECT_EQ(Sample::alive, 2);
    EXPECT_EQ(call(
                  client, "echo", [](WireWriter& out) { out.string("x"); }, path)
                  .reader()
                  .string(),
        "x");
    EXPECT_TRUE(call(client, "release", {}, path).ok());
    EXPECT_FALSE(call(client, "slow", {}, path).ok()) << "gone from the bus";
    EXPECT_EQ(Sample::alive, 1);
}

TEST_F(NSConnectionTest, ObjectsForAClientGoWhenItLeavesTheBus)
{
    {
        BusClient client;
        std::set<std::string> paths;
        for (int i = 0; i < 50; ++i)
            paths.insert(call(client, "give").reader().objectPath());
        EXPECT_EQ(paths.size(), 50u);
        EXPECT_EQ(Sample::alive, 51);
    }
    for (int i = 0; i < 1000 && Sample::alive != 1; ++i)
        usleep(5'000);
    EXPECT_EQ(Sample::alive, 1);
}

TEST_F(NSConnectionTest, InvalidateGivesTheNameUp)
{
    BusClient client;
    m_connection->invalidate();
    EXPECT_FALSE(client.hasOwner(SampleBusName));
    auto again = NSConnection::serviceConnectionWithName(SampleService, std::make_unique<Sample>());
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
        m_connection = NSConnection::serviceConnectionWithName(SampleService, std::make_unique<Sample>());
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

TEST(NSConnectionWithoutBus, NothingCanBePublished)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    EXPECT_EQ(NSConnection::serviceConnectionWithName(SampleService, std::make_unique<Sample>()), nullptr);
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

} // namespace
} // namespace mv
