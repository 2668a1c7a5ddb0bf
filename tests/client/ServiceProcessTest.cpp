#include "client/ServiceProcess.h"

#include "application/NSDistributedNotificationCenter.h"
#include "bus/BusName.h"
#include "client/MediaInfoClient.h"
#include "service/include/ServiceNames.h"
#include "tests/support/ActivatingBus.h"
#include "tests/support/BusClient.h"
#include "tests/support/Eventually.h"
#include "tests/support/Places.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/Scratch.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/wait.h>
#include <thread>

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
        for (std::string_view name : ServiceNames)
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

TEST_F(WithoutBus, AServiceThatAlwaysFindsItsNamesTakenIsAnError)
{
    auto process = ServiceProcess::ensure({ "/bin/false" });
    ASSERT_FALSE(process.ok());
    EXPECT_EQ(process.error().text, "the service ended while it was starting");
}

bool quit()
{
    auto bus = std::move(ServiceBus::open()).value();
    return NSDistributedNotificationCenter::post(TerminateNotification, TerminateObject)
        && test::eventually([&] { return !bus->hasOwner(AVParserService) && !bus->hasOwner(BasicAudioParserService); });
}

TEST(WithBus, ANameThatIsJustGivenUpIsWaitedFor)
{
    test::PrivateBus privateBus;
    test::BusClient leaving;
    std::string name = busNameForService(MP4ExporterService);
    ASSERT_GE(sd_bus_request_name(leaving.bus(), name.c_str(), 0), 0);
    pid_t child = fork();
    if (child == 0) {
        bool started = ServiceProcess::ensure({ kProgram }).ok();
        _exit(started ? 0 : 1);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(100));
    ASSERT_GE(sd_bus_release_name(leaving.bus(), name.c_str()), 0);
    int status = -1;
    waitpid(child, &status, 0);
    EXPECT_EQ(status, 0);
    EXPECT_TRUE(quit());
}

TEST(WithBus, ANameThatIsHeldForGoodIsAnErrorThatSaysByWhom)
{
    test::PrivateBus privateBus;
    test::BusClient holder;
    ASSERT_GE(sd_bus_request_name(holder.bus(), busNameForService(MP4ExporterService).c_str(), 0), 0);
    auto process = ServiceProcess::ensure({ .program = kProgram, .heldNamesTimeout = std::chrono::milliseconds(50) });
    ASSERT_FALSE(process.ok());
    EXPECT_EQ(process.error().text,
        "the name MivoMP4Exporter_1.3.0.12062 is held by process " + std::to_string(getpid())
            + ", and not all of the services are there");
}

TEST(WithBus, CommandsThatStartItAtTheSameTimeShareOneService)
{
    test::PrivateBus privateBus;
    for (int round = 0; round < 3; ++round) {
        std::vector<pid_t> commands;
        for (int i = 0; i < 6; ++i) {
            commands.push_back(fork());
            if (commands.back() != 0)
                continue;
            bool started = ServiceProcess::ensure({ kProgram }).ok();
            auto bus = ServiceBus::open();
            _exit(started && bus.ok()
                        && resultOf([&] { return MediaInfoClient(**bus, BasicAudioParserService).build("/none"); }).ok()
                    ? 0
                    : 1);
        }
        for (pid_t command : commands) {
            int status = -1;
            waitpid(command, &status, 0);
            EXPECT_EQ(status, 0);
        }
        EXPECT_TRUE(quit());
    }
}

TEST(WithBus, WhereTheBusStartsItNobodyElseDoes)
{
    test::ActivatingBus activating;
    auto process = ServiceProcess::ensure({ "/no/such/program" });
    ASSERT_TRUE(process.ok()) << process.error().text;
    auto bus = std::move(ServiceBus::open()).value();
    for (std::string_view name : ServiceNames)
        EXPECT_TRUE(bus->hasOwner(name)) << name;
    EXPECT_EQ(activating.starts(), 1);
    process->reset();
    EXPECT_TRUE(bus->hasOwner(AVParserService)) << "it runs on";
    EXPECT_TRUE(quit());
}

TEST(WithBus, AServiceThatTheBusCannotStartIsAnError)
{
    test::ActivatingBus activating("", "/bin/false");
    auto process = ServiceProcess::ensure({ kProgram });
    ASSERT_FALSE(process.ok()) << "nobody starts another behind the bus's back";
    EXPECT_TRUE(process.error().text.starts_with("the message bus cannot start the service: ")) << process.error().text;
}

TEST(WithBus, StartsTheServiceOnceAndLetsItRun)
{
    test::PrivateBus privateBus;
    auto bus = std::move(ServiceBus::open()).value();
    ASSERT_TRUE(ServiceProcess::ensure({ kProgram }).ok());
    int first = *bus->processIdOf(BasicAudioParserService);
    ASSERT_TRUE(ServiceProcess::ensure({ kProgram }).ok());
    EXPECT_EQ(*bus->processIdOf(BasicAudioParserService), first);
    ASSERT_TRUE(NSDistributedNotificationCenter::post(TerminateNotification, TerminateObject));
    EXPECT_TRUE(test::eventually([&] { return !bus->hasOwner(AVParserService); }));
    EXPECT_EQ(bus->processIdOf(AVParserService).error().kind, Error::Kind::NotFound);
}

// A player that runs for days starts a service each time that the last one has left.
TEST(ReleasedChild, IsWaitedForAtTheNextStart)
{
    auto start = [] {
        auto child = ChildProcess::start({ "true" }, { .outlivesUs = true });
        EXPECT_TRUE(child.ok());
        pid_t process = child->processId();
        child->release();
        return process;
    };
    pid_t first = start();
    auto hasEnded = [&] {
        siginfo_t info {};
        return waitid(P_PID, static_cast<id_t>(first), &info, WEXITED | WNOWAIT | WNOHANG) == 0 && info.si_pid == first;
    };
    ASSERT_TRUE(test::eventually(hasEnded)) << "it is kept until somebody waits";
    pid_t second = start();
    EXPECT_EQ(waitpid(first, nullptr, WNOHANG), -1);
    EXPECT_EQ(waitpid(second, nullptr, 0), second);
}

} // namespace
} // namespace mv
