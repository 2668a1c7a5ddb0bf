#include "tests/integration/Job1Client.h"
#include "tests/support/ActivatingBus.h"
#include "tests/support/BusClient.h"
#include "tests/support/Places.h"
#include "tests/support/ProcessTree.h"
#include "tests/support/ServiceProcess.h"
#include "tests/support/WaveMaker.h"

#include <atomic>
#include <csignal>
#include <filesystem>
#include <gtest/gtest.h>
#include <set>
#include <thread>

// The service where the message bus starts it: when a name is called, and again when it has left.

namespace mv {
namespace {

using test::ActivatingBus;
using test::BusClient;
using test::kServiceBusNames;

/// Whatever a bus can start the service for.
const std::vector<std::string> AllNames = [] {
    std::vector<std::string> names(kServiceBusNames.begin(), kServiceBusNames.end());
    names.emplace_back(Media1Service);
    return names;
}();

pid_t processOf(BusClient& client, const std::string& name)
{
    test::Answer answer = client.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus",
        "GetConnectionUnixProcessID", [&](WireWriter& out) { out.string(name); });
    std::uint32_t process = 0;
    return answer.ok() && sd_bus_message_read(answer.message.get(), "u", &process) > 0 ? static_cast<pid_t>(process)
                                                                                       : 0;
}

bool ping(BusClient& client, const std::string& name)
{
    return client.call(name, "/", "org.freedesktop.DBus.Peer", "Ping").ok();
}

void quit(BusClient& client)
{
    sd_bus_emit_signal(
        client.bus(), "/", "Mivo.NSDistributedNotificationCenter", "notification", "ss", "MivoTerminitor", "Mivo");
    sd_bus_flush(client.bus());
}

/// Each name is called from a connection and a thread of its own; how many calls were answered.
int callAllAtOnce()
{
    std::atomic<int> answered = 0;
    std::vector<std::jthread> callers;
    for (const std::string& name : AllNames)
        callers.emplace_back([&answered, name] {
            BusClient client;
            answered += ping(client, name);
        });
    callers.clear();
    return answered;
}

/// The bus takes its time to ask how a process ended.
bool isGone(pid_t process) { return kill(process, 0) != 0 || test::isZombie(process); }

std::set<std::string> fileNames(const std::string& folder)
{
    std::set<std::string> names;
    for (const auto& file : std::filesystem::directory_iterator(folder))
        names.insert(file.path().filename().string());
    return names;
}

/// Three hours that take no room, and longer to encode than a process has that is told to quit.
std::string silence(const test::ScratchFolder& folder)
{
    constexpr std::size_t Size = 2'000'000'000;
    test::WaveMaker wave;
    wave.format(1, 2, 44100, 16).chunk("data", {}, Size);
    std::string path = folder.write("long.wav", wave.bytes());
    std::filesystem::resize_file(path, wave.bytes().size() + Size);
    return path;
}

TEST(ActivationFiles, ThereIsOneForEachNameAndNoOther)
{
    std::set<std::string> expected;
    for (const std::string& name : AllNames) {
        expected.insert(name + ".service");
        auto text = test::readFile(test::buildPath("desktop/dbus-1/services/" + name + ".service"));
        EXPECT_NE(charsOf(text).find("\nName=" + name + "\n"), std::string_view::npos) << name;
        EXPECT_NE(charsOf(text).find("\nExec=/"), std::string_view::npos) << name;
        EXPECT_NE(charsOf(text).find("\nSystemdService=mivo-mediad.service\n"), std::string_view::npos) << name;
    }
    EXPECT_EQ(fileNames(test::buildPath("desktop/dbus-1/services")), expected);
}

TEST(ActivationFiles, SystemdFindsNothingWrongWithTheUnit)
{
    if (!test::haveProgram("systemd-analyze"))
        GTEST_SKIP() << "systemd-analyze is not installed";
    // The program is not installed where the unit has it.
    test::ScratchFolder folder;
    std::string unit = folder.file("mivo-mediad.service");
    ASSERT_EQ(test::run("sed 's,^ExecStart=.*,ExecStart=" + test::buildPath("bin/mivo-mediad")
                  + ",;/^Documentation=/d' " + test::buildPath("desktop/systemd/mivo-mediad.service") + " >" + unit),
        0);
    std::string said = test::outputOf("XDG_RUNTIME_DIR=" + folder.path() + " systemd-analyze verify --user --man=no "
        + unit + " 2>&1 | grep -F mivo-mediad || true");
    EXPECT_EQ(said, "");
}

TEST(Activation, CallsToAllNamesAtOnceAreAnsweredByOneProcess)
{
    ActivatingBus bus;
    BusClient client;
    for (int round = 0; round < 3; ++round) {
        EXPECT_EQ(callAllAtOnce(), 10) << bus.log();
        std::set<pid_t> processes;
        for (const std::string& name : AllNames)
            processes.insert(processOf(client, name));
        EXPECT_EQ(processes.size(), 1u);
        EXPECT_FALSE(processes.contains(0));
        quit(client);
        EXPECT_TRUE(test::eventually([&] { return isGone(*processes.begin()); }));
    }
}

TEST(Activation, TheLockIsHeldAsLongAsTheNamesAre)
{
    ActivatingBus bus;
    BusClient client;
    ASSERT_TRUE(ping(client, kServiceBusNames[3]));
    EXPECT_TRUE(client.hasOwner("Mivo.MediaTools.Host"));
    quit(client);
    EXPECT_TRUE(client.waitForOwner(kServiceBusNames[3], false));
    EXPECT_TRUE(client.waitForOwner("Mivo.MediaTools.Host", false));
}

TEST(Activation, TheBussOwnChildNeedsNoOption)
{
    // What follows is a comment of the shell that starts it.
    ActivatingBus bus("", test::buildPath("bin/mivo-mediad") + " #");
    BusClient client;
    ASSERT_TRUE(ping(client, kServiceBusNames[0])) << bus.log();
    EXPECT_TRUE(client.hasOwner("Mivo.MediaTools.Host"));
}

TEST(Activation, OneThatIsStartedByHandTakesNoLock)
{
    test::PrivateBus bus;
    test::ServiceProcess service;
    ASSERT_TRUE(service.waitUntilReady());
    BusClient client;
    EXPECT_FALSE(client.hasOwner("Mivo.MediaTools.Host"));
}

TEST(Activation, ANameThatAStrangerHasFailsTheCall)
{
    ActivatingBus bus;
    BusClient stranger;
    ASSERT_GE(sd_bus_request_name(stranger.bus(), kServiceBusNames[4].c_str(), 0), 0);
    BusClient client;
    test::Answer answer = client.call(kServiceBusNames[0], "/", "org.freedesktop.DBus.Peer", "Ping");
    EXPECT_EQ(answer.error, "org.freedesktop.DBus.Error.Spawn.ChildExited") << answer.text;
    EXPECT_NE(
        bus.log().find(kServiceBusNames[4] + " is taken by process " + std::to_string(getpid())), std::string::npos)
        << bus.log();
    EXPECT_FALSE(client.hasOwner(kServiceBusNames[0]));
}

TEST(Activation, ItLeavesWhenIdleAndIsStartedAgain)
{
    ActivatingBus bus("--idle-exit=1");
    BusClient client;
    ASSERT_TRUE(ping(client, kServiceBusNames[0]));
    pid_t first = processOf(client, kServiceBusNames[0]);
    EXPECT_TRUE(test::eventually([&] { return isGone(first); }));
    EXPECT_FALSE(client.hasOwner(kServiceBusNames[8]));
    EXPECT_TRUE(ping(client, kServiceBusNames[8]));
    EXPECT_NE(processOf(client, kServiceBusNames[8]), first);
    EXPECT_EQ(bus.starts(), 2);
}

TEST(Activation, ItDoesNotLeaveWhileAJobLives)
{
    ActivatingBus bus("--idle-exit=1");
    BusClient client;
    test::Job1Client jobs(client);
    test::ScratchFolder folder;
    std::string running = jobs.begin(folder.write("long.wav", test::waveFile(1200)), folder.file("long.mp3"));
    std::string ended = jobs.begin(folder.write("a.wav", test::waveFile(1)), folder.file("a.mp3"));
    EXPECT_EQ(jobs.awaitEnd(ended).state, "done");
    const std::string media(Media1Service);
    pid_t first = processOf(client, media);
    // Nothing but time shows that it would have left.
    auto isThereAfterAWhile = [&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(2500));
        return !isGone(first) && client.hasOwner(media);
    };
    EXPECT_TRUE(isThereAfterAWhile()) << "one runs";
    EXPECT_TRUE(jobs.release(running).ok());
    EXPECT_TRUE(isThereAfterAWhile()) << "one has ended, and may be asked for";
    EXPECT_EQ(jobs.status(ended).state, "done");
    EXPECT_TRUE(jobs.release(ended).ok());
    EXPECT_TRUE(test::eventually([&] { return isGone(first); }));
}

TEST(Activation, WhileAJobGoesOnAfterQuittingTheNextProcessAnswers)
{
    ActivatingBus bus;
    BusClient client;
    ASSERT_TRUE(ping(client, kServiceBusNames[0]));
    pid_t old = processOf(client, kServiceBusNames[0]);
    const std::string encoder = busNameForService(Mp3EncoderService);
    test::ScratchFolder folder;
    std::string song = silence(folder);
    std::string output = folder.file("long.mp3");
    bool isAnswered = false;
    BusClient caller;
    sd_bus_slot* slot = nullptr;
    auto answered = [](sd_bus_message*, void* userdata, sd_bus_error*) {
        *static_cast<bool*>(userdata) = true;
        return 0;
    };
    ASSERT_GE(sd_bus_call_method_async(caller.bus(), &slot, encoder.c_str(), "/", "Mivo.MVAudioEncoderBase",
                  "encodeFileOutputFile", answered, &isAnswered, "ss", song.c_str(), output.c_str()),
        0);
    BusSlot call(slot);
    sd_bus_flush(caller.bus());
    ASSERT_TRUE(test::eventually([&] { return std::filesystem::exists(output); }));

    ASSERT_EQ(processOf(client, encoder), old);
    quit(client);
    // Somebody that the first call had started may wait for the names, and have them before anybody sees them free.
    EXPECT_TRUE(test::eventually([&] { return processOf(client, encoder) != old; }));
    for (const std::string& name : kServiceBusNames) {
        EXPECT_TRUE(ping(client, name)) << name;
        EXPECT_NE(processOf(client, name), old) << name;
    }
    caller.serveWhatCame();
    EXPECT_FALSE(isAnswered);
    EXPECT_FALSE(isGone(old)) << "it has its grace";
    EXPECT_TRUE(test::eventually([&] { return isGone(old); })) << "and no more";
}

TEST(Activation, APlainStartAndEndWriteNothingToTheJournal)
{
    // The journal is whatever the environment says that standard error is.
    ActivatingBus bus("",
        "sh -c 'export JOURNAL_STREAM=$(stat -L -c %d:%i /dev/fd/2); exec " + test::buildPath("bin/mivo-mediad")
            + " \"$@\"' sh");
    BusClient client;
    ASSERT_TRUE(ping(client, kServiceBusNames[0]));
    pid_t process = processOf(client, kServiceBusNames[0]);
    quit(client);
    EXPECT_TRUE(test::eventually([&] { return isGone(process); }));
    EXPECT_EQ(bus.log(), "");
    ActivatingBus elsewhere;
    BusClient other;
    ASSERT_TRUE(ping(other, kServiceBusNames[0]));
    EXPECT_NE(elsewhere.log(), "") << "no crash reporter is installed here";
}

} // namespace
} // namespace mv
