#include "service/host/CrashReporterService.h"

#include "Base/Core/Bytes.h"
#include "Base/Core/NSException.h"
#include "tests/support/LogCapture.h"

#include <algorithm>
#include <cstring>
#include <gtest/gtest.h>

namespace mv {
namespace {

struct Foreign { };

/// A machine whose every step is written down.
struct FakePlatform final : CrashReporterPlatform {
    std::vector<std::string> events;
    int lookupsUntilFound = 0; ///< 0: the reporter runs
    bool launchSucceeds = true;
    std::vector<std::string> files;
    enum { Nothing, Exception, ForeignException } raise = Nothing;
    bool invalidateRaises = false;
    Bytes table;
    int tableStatus = 0;

    struct Remote final : CrashReporterRemote {
        explicit Remote(FakePlatform& owner)
            : platform(owner)
        {
        }
        void note(const std::string& text)
        {
            platform.events.push_back(text);
            if (platform.raise == Exception)
                throw NSException("NSPortTimeoutException", "gone");
            if (platform.raise == ForeignException)
                throw Foreign {};
        }
        std::int32_t findProcessByNameCheckAlive(const std::string& name, bool alive) override
        {
            note("find " + name + (alive ? " alive" : ""));
            return 42;
        }
        void scanMissedCrash() override { note("scan"); }
        void removeProcess(std::int32_t pid) override { note("remove " + std::to_string(pid)); }
        void addProcessPid(const std::string& name, std::int32_t pid) override
        {
            note("add " + name + " " + std::to_string(pid));
        }
        FakePlatform& platform;
    };
    struct Connection final : CrashReporterConnection {
        explicit Connection(FakePlatform& owner)
            : platform(owner)
        {
        }
        std::unique_ptr<CrashReporterRemote> rootProxy() override { return std::make_unique<Remote>(platform); }
        void invalidate() override
        {
            platform.events.emplace_back("invalidate");
            if (platform.invalidateRaises)
                throw NSException("Name", "again");
        }
        FakePlatform& platform;
    };

    std::unique_ptr<CrashReporterConnection> connectionWithRegisteredName(std::string_view name) override
    {
        EXPECT_EQ(name, "MivoCrashReporter_1.3.0.12062");
        events.emplace_back("lookup");
        if (lookupsUntilFound-- > 0)
            return nullptr;
        return std::make_unique<Connection>(*this);
    }
    void sleepForTimeInterval(double seconds) override
    {
        EXPECT_EQ(seconds, 0.3);
        events.emplace_back("sleep");
    }
    int processTable(void* buffer, std::size_t* size) override
    {
        if (tableStatus != 0)
            return tableStatus;
        if (buffer)
            std::memcpy(buffer, table.data(), table.size());
        *size = table.size();
        return 0;
    }
    void kill(std::int32_t pid, int signal) override
    {
        events.push_back("kill " + std::to_string(pid) + " with " + std::to_string(signal));
    }
    bool fileExistsAtPath(const Path& path) override
    {
        return std::find(files.begin(), files.end(), path.text()) != files.end();
    }
    bool openApplication(const Path& path) override
    {
        events.push_back("open " + path.text());
        return launchSucceeds;
    }
    Path mainBundleFolder() override { return "/opt/suite"; }
    Path mainExecutableFolder() override { return "/opt/suite/bin"; }

    void addProcess(std::int32_t pid, const char* name)
    {
        Bytes record(492);
        std::memcpy(&record[24], &pid, sizeof pid);
        std::memcpy(&record[163], name, std::strlen(name) + 1);
        table.insert(table.end(), record.begin(), record.end());
    }
};

using Events = std::vector<std::string>;

class CrashReporterServiceTest : public testing::Test {
protected:
    FakePlatform m_platform;
    test::LogCapture m_log;
};

TEST_F(CrashReporterServiceTest, ARunningReporterGetsOneMessage)
{
    CrashReporterService::addProcessPid("mivo-mediad", 77, m_platform);
    EXPECT_EQ(m_platform.events, (Events { "lookup", "add mivo-mediad 77", "invalidate" }));
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(CrashReporterServiceTest, EveryOperationForwardsItsArguments)
{
    CrashReporterService::removeProcess(5, m_platform);
    CrashReporterService::scanMissedCrash(m_platform);
    EXPECT_EQ(CrashReporterService::findProcessByNameCheckAlive("app", true, m_platform), 42);
    EXPECT_EQ(m_platform.events,
        (Events { "lookup", "remove 5", "invalidate", "lookup", "scan", "invalidate", "lookup", "find app alive",
            "invalidate" }));
}

TEST_F(CrashReporterServiceTest, NotInstalledAtAll)
{
    m_platform.lookupsUntilFound = 100;
    EXPECT_EQ(CrashReporterService::findProcessByNameCheckAlive("app", false, m_platform), 0);
    EXPECT_EQ(m_platform.events, Events { "lookup" }) << "no retries";
    EXPECT_EQ(m_log.lines(), Events { "failed to launch /opt/suite/bin/MivoCrashReporter.app" });
}

TEST_F(CrashReporterServiceTest, BesideTheBundleComesFirst)
{
    m_platform.files = { "/opt/suite/MivoCrashReporter.app", "/opt/suite/bin/MivoCrashReporter.app" };
    EXPECT_TRUE(CrashReporterService::launchServer(m_platform));
    EXPECT_EQ(m_platform.events, Events { "open /opt/suite/MivoCrashReporter.app" });
}

TEST_F(CrashReporterServiceTest, BesideTheExecutableComesSecond)
{
    m_platform.files = { "/opt/suite/bin/MivoCrashReporter.app" };
    EXPECT_TRUE(CrashReporterService::launchServer(m_platform));
    EXPECT_EQ(m_platform.events, Events { "open /opt/suite/bin/MivoCrashReporter.app" });
}

TEST_F(CrashReporterServiceTest, AFailedLaunchIsLoggedAndNotRetried)
{
    m_platform.files = { "/opt/suite/MivoCrashReporter.app" };
    m_platform.launchSucceeds = false;
    m_platform.lookupsUntilFound = 100;
    CrashReporterService::scanMissedCrash(m_platform);
    EXPECT_EQ(m_platform.events, (Events { "lookup", "open /opt/suite/MivoCrashReporter.app" }));
    EXPECT_EQ(m_log.lines(), Events { "failed to launch /opt/suite/MivoCrashReporter.app" });
}

TEST_F(CrashReporterServiceTest, ASlowReporterIsLookedUpUntilItIsThere)
{
    m_platform.files = { "/opt/suite/MivoCrashReporter.app" };
    m_platform.lookupsUntilFound = 3;
    CrashReporterService::removeProcess(9, m_platform);
    EXPECT_EQ(m_platform.events,
        (Events { "lookup", "open /opt/suite/MivoCrashReporter.app", "sleep", "lookup", "sleep", "lookup", "sleep",
            "lookup", "remove 9", "invalidate" }));
}

TEST_F(CrashReporterServiceTest, AfterTenLookupsTheCallIsDroppedInSilence)
{
    m_platform.files = { "/opt/suite/MivoCrashReporter.app" };
    m_platform.lookupsUntilFound = 100;
    EXPECT_EQ(CrashReporterService::findProcessByNameCheckAlive("app", true, m_platform), 0);
    EXPECT_EQ(std::count(m_platform.events.begin(), m_platform.events.end(), "sleep"), 10);
    EXPECT_EQ(std::count(m_platform.events.begin(), m_platform.events.end(), "lookup"), 11);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(CrashReporterServiceTest, AnExceptionIsLoggedByOperationAndTheConnectionStillEnds)
{
    m_platform.raise = FakePlatform::Exception;
    EXPECT_EQ(CrashReporterService::findProcessByNameCheckAlive("app", true, m_platform), 0);
    CrashReporterService::scanMissedCrash(m_platform);
    CrashReporterService::removeProcess(1, m_platform);
    CrashReporterService::addProcessPid("app", 1, m_platform);
    EXPECT_EQ(m_log.lines(),
        (Events { "CrashReporterService findProcessByName fail: gone",
            "CrashReporterService scanMissedCrash fail: gone", "CrashReporterService removeProcess fail: gone",
            "CrashReporterService addProcess fail: gone" }));
    EXPECT_EQ(std::count(m_platform.events.begin(), m_platform.events.end(), "invalidate"), 4);
}

TEST_F(CrashReporterServiceTest, AForeignExceptionGoesOnAfterTheConnectionEnded)
{
    m_platform.raise = FakePlatform::ForeignException;
    EXPECT_THROW(CrashReporterService::scanMissedCrash(m_platform), Foreign);
    EXPECT_EQ(m_platform.events, (Events { "lookup", "scan", "invalidate" }));
}

TEST_F(CrashReporterServiceTest, AnExceptionOfInvalidateIsSwallowed)
{
    m_platform.invalidateRaises = true;
    CrashReporterService::scanMissedCrash(m_platform);
    EXPECT_TRUE(m_log.lines().empty());
}

TEST_F(CrashReporterServiceTest, ATruncatedNameIsNeverSignalled)
{
    m_platform.addProcess(100, "MivoCrashReporte"); // the 16 characters that a table keeps
    m_platform.addProcess(101, "MivoCrashRepor");
    CrashReporterService::launchServer(m_platform);
    EXPECT_TRUE(m_platform.events.empty());
}

TEST_F(CrashReporterServiceTest, TheComparisonTakesEighteenBytes)
{
    // No table keeps a name this long; the comparison itself is pinned all the same.
    m_platform.addProcess(102, "MivoCrashReporter");
    m_platform.addProcess(103, "MivoCrashReporterX");
    CrashReporterService::launchServer(m_platform);
    EXPECT_EQ(m_platform.events, Events { "kill 102 with 15" });
}

TEST_F(CrashReporterServiceTest, WithoutATableTheLaunchGoesOn)
{
    m_platform.tableStatus = -1;
    m_platform.files = { "/opt/suite/MivoCrashReporter.app" };
    EXPECT_TRUE(CrashReporterService::launchServer(m_platform));
}

} // namespace
} // namespace mv
