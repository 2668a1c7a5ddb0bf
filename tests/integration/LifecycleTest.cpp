#include "Base/Media/MVMediaTypeReader.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Instrumented.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/Places.h"

#include <gmock/gmock.h>
#include <regex>
#include <set>
#include <sys/prctl.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv {
namespace {

using test::kServiceBusNames;
using test::RunningService;
using test::ServiceProcess;

// The main thread, one a service and one for Mivo.Media1, the one that keeps the workers and the one that starts them;
// the thread sanitizer has one of its own.
#if defined(__SANITIZE_THREAD__)
constexpr int ThreadsOfTheService = 14;
#else
constexpr int ThreadsOfTheService = 13;
#endif

class Lifecycle : public RunningService {
protected:
    void notify(const char* name, const char* object)
    {
        sd_bus_emit_signal(
            m_client.bus(), "/", "Mivo.NSDistributedNotificationCenter", "notification", "ss", name, object);
        sd_bus_flush(m_client.bus());
    }
    test::Answer askBus(const char* member, const std::string& name)
    {
        return m_client.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", member,
            [&](WireWriter& out) { out.string(name); });
    }
    bool isOneOfTheServices(const std::string& connection)
    {
        test::Answer answer = askBus("GetConnectionUnixProcessID", connection);
        std::uint32_t process = 0;
        return answer.ok() && sd_bus_message_read(answer.message.get(), "u", &process) > 0
            && static_cast<pid_t>(process) == m_service.pid();
    }
    /// The connection that listens to notifications: the last one that the process opened before those of its names.
    std::string listener()
    {
        test::Answer list
            = m_client.call("org.freedesktop.DBus", "/org/freedesktop/DBus", "org.freedesktop.DBus", "ListNames");
        sd_bus_message_enter_container(list.message.get(), 'a', "s");
        auto numberOf = [](const std::string& connection) { return std::stoi(connection.substr(3)); };
        int first = numberOf(m_client.ownerOf(std::string(kServiceBusNames[0])));
        int last = -1;
        for (const char* name = nullptr; sd_bus_message_read(list.message.get(), "s", &name) > 0;) {
            if (*name == ':' && numberOf(name) < first && isOneOfTheServices(name))
                last = std::max(last, numberOf(name));
        }
        return ":1." + std::to_string(last);
    }
    /// The ping is read after all that was sent before, and a process that leaves does not answer it.
    bool hasHeardEverythingAndStays()
    {
        return m_client.call(listener(), "/", "org.freedesktop.DBus.Peer", "Ping").ok();
    }
};

// Somebody's limit is no reason to end nine services.
TEST_F(Lifecycle, AFileThatMayNotBecomeSoLongIsAFailure)
{
    test::ScratchFolder folder;
    std::string song = folder.write("a.mp3", test::mpegFrames(100));
    const rlimit few { 1000, 1000 };
    ASSERT_EQ(prlimit(m_service.pid(), RLIMIT_FSIZE, &few, nullptr), 0);
    test::Answer answer = m_client.call("MivoMediaTagUpdater_1._3._0._12062", "/", "Mivo.MVMediaTagBase",
        "updateTagWithDictionary", [&](WireWriter& out) {
            out.string(song).record({ { "MediaType", MVMediaTypeMP3 }, { "Title", "New" } });
        });
    EXPECT_TRUE(answer.ok()) << answer.error;
    EXPECT_TRUE(charsOf(test::readFile(song)) == test::mpegFrames(100));
    EXPECT_TRUE(m_service.running());
    auto record = m_client.build("MivoMP3Parser_1._3._0._12062", song);
    EXPECT_TRUE(record && *record);
}

TEST_F(Lifecycle, NineNamesEachOnItsOwnConnectionAndThread)
{
    std::set<std::string> owners;
    for (std::string_view name : kServiceBusNames)
        owners.insert(m_client.ownerOf(std::string(name)));
    EXPECT_EQ(owners.size(), 9u);
    // The last name is there a moment before its thread.
    test::eventually([&] { return m_service.threadCount() >= ThreadsOfTheService; });
    EXPECT_EQ(m_service.threadCount(), ThreadsOfTheService);
}

TEST_F(Lifecycle, ASecondInstancePublishesNothingAndQuits)
{
    ServiceProcess second;
    EXPECT_EQ(second.waitForEnd(), 1);
    EXPECT_NE(second.log().find("failed to register Mivo AV Parser"), std::string::npos) << second.log();
    std::string holder = "process " + std::to_string(m_service.pid()) + " (mivo-mediad)";
    EXPECT_NE(second.log().find("MivoAVParser_1._3._0._12062 is taken by " + holder), std::string::npos)
        << second.log();
    EXPECT_EQ(second.log().find("MP3"), std::string::npos) << "later rows were never tried";
    EXPECT_TRUE(m_service.running());
    EXPECT_TRUE(m_client.build("MivoMP3Parser_1._3._0._12062", "/no/such/file").has_value());
}

TEST_F(Lifecycle, OnlyTheRightNameAndObjectQuit)
{
    notify("MivoTerminitor", "Somebody");
    notify("MivoTerminator", "Mivo");
    notify("MivoTerminitor", "");
    EXPECT_TRUE(hasHeardEverythingAndStays());
    notify("MivoTerminitor", "Mivo");
    EXPECT_EQ(m_service.waitForEnd(), 0);
    for (std::string_view name : kServiceBusNames)
        EXPECT_TRUE(m_client.waitForOwner(std::string(name), false)) << name;
}

TEST_F(Lifecycle, QuitsWhileAStoppedProcessIsContinued)
{
    kill(m_service.pid(), SIGSTOP);
    notify("MivoTerminitor", "Mivo");
    kill(m_service.pid(), SIGCONT);
    EXPECT_EQ(m_service.waitForEnd(), 0);
}

TEST_F(Lifecycle, SigtermIsAnOrderlyQuit)
{
    kill(m_service.pid(), SIGTERM);
    EXPECT_EQ(m_service.waitForEnd(), 0);
}

TEST_F(Lifecycle, TheLogHasOneWholeLinePerMessage)
{
    for (int i = 0; i < 3; ++i)
        m_client.build("MivoMP4Parser_1._3._0._12062", "/no/such/file");
    std::istringstream log(m_service.log());
    std::regex form(R"(\d{4}-\d\d-\d\d \d\d:\d\d:\d\d\.\d{3} mivo-mediad\[\d+:\d+\] .*)");
    int lines = 0;
    for (std::string line; std::getline(log, line); ++lines)
        EXPECT_TRUE(std::regex_match(line, form)) << line;
    EXPECT_GE(lines, 3) << "one for each file that is not there";
}

TEST(LifecycleStart, AFifthNameThatIsTakenKeepsFourAndQuits)
{
    test::PrivateBus bus;
    test::BusClient holder;
    ASSERT_GE(sd_bus_request_name(holder.bus(), "MivoMP4Exporter_1._3._0._12062", 0), 0);
    // Names that come and go in between are told to whoever listens.
    std::vector<std::string> published;
    sd_bus_slot* slot = nullptr;
    auto noted = [](sd_bus_message* message, void* userdata, sd_bus_error*) {
        const char* name = nullptr;
        const char* before = nullptr;
        const char* after = nullptr;
        if (sd_bus_message_read(message, "sss", &name, &before, &after) >= 0 && *after && *name != ':')
            static_cast<std::vector<std::string>*>(userdata)->push_back(name);
        return 0;
    };
    ASSERT_GE(sd_bus_add_match(holder.bus(), &slot,
                  "type='signal',sender='org.freedesktop.DBus',member='NameOwnerChanged'", noted, &published),
        0);
    BusSlot match(slot);
    ServiceProcess service;
    EXPECT_EQ(service.waitForEnd(), 1);
    holder.serveWhatCame();
    EXPECT_EQ(published, std::vector<std::string>(kServiceBusNames.begin(), kServiceBusNames.begin() + 4));
    EXPECT_NE(service.log().find("failed to register Mivo MP4 Exporter"), std::string::npos) << service.log();
}

TEST(LifecycleStart, WithoutABusItSaysSoAndQuits)
{
    setenv("DBUS_SESSION_BUS_ADDRESS", "unix:path=/nonexistent/bus", 1);
    ServiceProcess service;
    EXPECT_EQ(service.waitForEnd(), 1);
    EXPECT_NE(service.log().find("failed to register Mivo AV Parser"), std::string::npos);
    EXPECT_NE(service.log().find("there is no session bus"), std::string::npos) << service.log();
    unsetenv("DBUS_SESSION_BUS_ADDRESS");
}

// With room for no thread but its first one, as a user: root has all the room there is.
TEST(LifecycleStart, WithoutRoomForThreadsItSaysSoAndQuits)
{
    if (test::isInstrumented())
        GTEST_SKIP() << "the thread sanitizer has a thread of its own";
    const std::string service = test::shellQuoted(test::buildPath("bin/mivo-mediad"));
    const std::string lowered = getuid() == 0 ? "setpriv --reuid 65534 --regid 65534 --clear-groups " : "";
    if (test::run(lowered + "test -x " + service) != 0)
        GTEST_SKIP() << "a user does not reach the build folder";
    std::string said
        = test::outputOf(lowered + "dbus-run-session -- prlimit --nproc=1 " + service + " 2>&1; echo status $?");
    EXPECT_THAT(said, testing::HasSubstr("a thread is needed and not to be had: Resource temporarily unavailable"));
    EXPECT_THAT(said, testing::EndsWith("status 1\n"));
}

TEST(LifecycleStart, ALogThatNobodyReadsStopsNothing)
{
    test::PrivateBus bus;
    test::BusClient client;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    std::string program = test::buildPath("bin/mivo-mediad");
    pid_t child = fork();
    if (child == 0) {
        prctl(PR_SET_PDEATHSIG, SIGKILL);
        close(ends[0]);
        dup2(ends[1], STDERR_FILENO);
        // There is no crash reporter, which is what it wants to log.
        execl(program.c_str(), "mivo-mediad", nullptr);
        _exit(127);
    }
    close(ends[0]);
    close(ends[1]);
    EXPECT_TRUE(client.waitForOwner(std::string(kServiceBusNames[8])));
    kill(child, SIGTERM);
    int status = 0;
    waitpid(child, &status, 0);
    EXPECT_TRUE(WIFEXITED(status)) << "signal " << WTERMSIG(status);
}

} // namespace
} // namespace mv
