#include "tests/support/BusClient.h"
#include "tests/support/Places.h"
#include "tests/support/PrivateBus.h"
#include "tests/support/ServiceProcess.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

struct Announcement {
    std::string name;
    std::int32_t pid = 0;
    std::string sender;
    int count = 0;
    bool refuse = false;
};

int addProcess(sd_bus_message* message, void* userdata, sd_bus_error* error)
{
    auto* announcement = static_cast<Announcement*>(userdata);
    WireReader in(message);
    announcement->name = in.string();
    announcement->pid = in.integer();
    announcement->sender = sd_bus_message_get_sender(message);
    ++announcement->count;
    if (announcement->refuse)
        return sd_bus_error_set(error, "Mivo.Exception.NSGenericException", "not now");
    return sd_bus_reply_method_return(message, "");
}

constexpr sd_bus_vtable Reporter[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD("addProcessPid", "si", "", addProcess, 0),
    SD_BUS_VTABLE_END,
};

class CrashReporter : public testing::Test {
protected:
    CrashReporter()
    {
        sd_bus_slot* slot = nullptr;
        sd_bus_add_object_vtable(m_reporter.bus(), &slot, "/", "Mivo.CrashReporterRemote", Reporter, &m_announcement);
        m_slot.reset(slot);
        sd_bus_request_name(m_reporter.bus(), "MivoCrashReporter_1._3._0._12062", 0);
    }

    test::PrivateBus m_bus;
    test::BusClient m_reporter;
    Announcement m_announcement;
    BusSlot m_slot;
};

TEST_F(CrashReporter, HearsTheExecutablesFileNameAndPid)
{
    test::ServiceProcess service;
    m_reporter.serveUntil([&] { return m_announcement.count > 0; });
    EXPECT_EQ(m_announcement.name, "mivo-mediad");
    EXPECT_EQ(m_announcement.pid, service.pid());
    EXPECT_TRUE(service.waitUntilReady());
    EXPECT_EQ(m_announcement.count, 1);
    EXPECT_EQ(service.log(), "") << "a running reporter is not launched";
}

TEST_F(CrashReporter, TheConnectionToItEndsWithTheCall)
{
    test::ServiceProcess service;
    m_reporter.serveUntil([&] { return m_announcement.count > 0; });
    ASSERT_TRUE(service.waitUntilReady());
    EXPECT_TRUE(m_reporter.waitForOwner(m_announcement.sender, false)) << m_announcement.sender;
}

TEST_F(CrashReporter, TheNameIsTheFilesOwn)
{
    test::ScratchFolder folder;
    std::string renamed = folder.copy(test::buildPath("bin/mivo-mediad"), "Media Helper");
    ASSERT_EQ(test::run("chmod +x " + test::shellQuoted(renamed)), 0);
    test::ServiceProcess service(renamed);
    m_reporter.serveUntil([&] { return m_announcement.count > 0; });
    EXPECT_EQ(m_announcement.name, "Media Helper");
}

TEST_F(CrashReporter, AnExceptionIsLoggedAndStopsNothing)
{
    m_announcement.refuse = true;
    test::ServiceProcess service;
    m_reporter.serveUntil([&] { return m_announcement.count > 0; });
    EXPECT_TRUE(service.waitUntilReady());
    EXPECT_NE(service.log().find("CrashReporterService addProcess fail: not now"), std::string::npos) << service.log();
}

TEST(CrashReporterAbsent, IsLoggedWithThePathBesideTheExecutable)
{
    test::PrivateBus bus;
    test::ServiceProcess service;
    EXPECT_TRUE(service.waitUntilReady());
    std::string log = service.log();
    EXPECT_TRUE(log.ends_with("failed to launch " + test::buildPath("bin/MivoCrashReporter.app") + "\n")) << log;
    EXPECT_EQ(std::count(log.begin(), log.end(), '\n'), 1) << log;
}

} // namespace
} // namespace mv
