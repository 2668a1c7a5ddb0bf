#include "tests/application/ServedSample.h"

#include "bus/BusError.h"
#include "tests/support/Eventually.h"

namespace mv {
namespace {

using test::Answer;
using test::BusClient;
using test::SampleService;

class NSRemoteConnectionTest : public test::ServedSample { };

TEST_F(NSRemoteConnectionTest, RemoteLookupFindsPublishedNamesOnly)
{
    std::thread([] {
        EXPECT_EQ(NSRemoteConnection::connectionWithRegisteredName("MivoNobody_1.0"), nullptr);
        auto connection = NSRemoteConnection::connectionWithRegisteredName(SampleService);
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

TEST_F(NSRemoteConnectionTest, ARemoteConnectionLeavesTheBusWhenItIsInvalidated)
{
    BusClient client;
    std::size_t before = connectionsOnTheBus(client);
    EXPECT_EQ(NSRemoteConnection::connectionWithRegisteredName("MivoNobody_1.0"), nullptr);
    EXPECT_TRUE(becomes(client, before)) << "a lookup that found nobody";
    auto connection = NSRemoteConnection::connectionWithRegisteredName(SampleService);
    ASSERT_NE(connection, nullptr);
    RemoteObject root = connection->rootProxy("Test");
    root.call("slow", CallWithoutTimeout);
    EXPECT_EQ(connectionsOnTheBus(client), before + 1);
    connection->invalidate();
    EXPECT_TRUE(becomes(client, before));
    EXPECT_THROW(root.call("slow", CallWithoutTimeout), BusError);
    EXPECT_THROW(connection->rootProxy("Test").call("slow", CallWithoutTimeout), BusError);
}

} // namespace
} // namespace mv
