#include "client/ServiceProcess.h"

#include "client/ServiceNames.h"
#include "platform/ipc/NSDistributedNotificationCenter.h"
#include "tests/support/Eventually.h"
#include "tests/support/Places.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <signal.h>

namespace mv {
namespace {

const Path kProgram = test::buildPath("bin/mivo-mediad");

/// The environment of a machine without a session bus.
class WithoutBus : public testing::Test {
protected:
    WithoutBus()
    {
        unsetenv("DBUS_SESSION_BUS_ADDRESS");
        setenv("XDG_RUNTIME_DIR", m_folder.path().c_str(), 1);
    }
    ~WithoutBus() override { unsetenv("DBUS_SESSION_BUS_ADDRESS"); }
    test::ScratchFolder m_folder;
};

TEST_F(WithoutBus, StartsAPrivateBusWithTheServiceAndEndsBoth)
{
    ASSERT_FALSE(haveSessionBus());
    pid_t service = 0;
    {
        auto process = ServiceProcess::ensure({ kProgram });
        ASSERT_TRUE(process.ok()) << process.error().text;
        auto bus = std::move(ServiceBus::open()).value();
        for (std::string_view name : kServiceNames)
            EXPECT_TRUE(bus->hasOwner(name)) << name;
        service = *bus->processIdOf(MP3ParserService);
    }
    EXPECT_TRUE(test::eventually([&] { return kill(service, 0) != 0; }));
    EXPECT_FALSE(haveSessionBus());
}

TEST_F(WithoutBus, AMissingProgramIsAnError)
{
    auto process = ServiceProcess::ensure({ "/no/such/program" });
    ASSERT_FALSE(process.ok());
    EXPECT_EQ(process.error().text, "the service's program is not at /no/such/program");
}

TEST_F(WithoutBus, AServiceThatEndsAtOnceIsAnError)
{
    auto process = ServiceProcess::ensure({ "/bin/true" });
    ASSERT_FALSE(process.ok());
    EXPECT_EQ(process.error().text, "the service ended while it was starting");
}

TEST(WithBus, StartsTheServiceOnceAndLetsItRun)
{
    test::PrivateBus privateBus;
    auto bus = std::move(ServiceBus::open()).value();
    ASSERT_TRUE(ServiceProcess::ensure({ kProgram }).ok());
    int first = *bus->processIdOf(BasicAudioParserService);
    ASSERT_TRUE(ServiceProcess::ensure({ kProgram }).ok());
    EXPECT_EQ(*bus->processIdOf(BasicAudioParserService), first);
    ASSERT_TRUE(NSDistributedNotificationCenter::post("MivoTerminitor", "Mivo"));
    EXPECT_TRUE(test::eventually([&] { return !bus->hasOwner(AVParserService); }));
    EXPECT_EQ(bus->processIdOf(AVParserService).error().kind, Error::Kind::NotFound);
}

} // namespace
} // namespace mv
