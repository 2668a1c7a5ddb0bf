#include "service/host/Announcement.h"

#include "Base/Core/NSException.h"
#include "tests/support/LogCapture.h"

#include <functional>
#include <gtest/gtest.h>
#include <new>

namespace mv {
namespace {

/// A machine that raises at one of the steps that the announcement takes.
struct RaisingPlatform final : CrashReporterPlatform {
    std::function<void()> raise;
    int stepsUntilThen = 0;
    bool reporterRuns = false;

    void step()
    {
        if (stepsUntilThen-- == 0)
            raise();
    }

    struct Remote final : CrashReporterRemote {
        explicit Remote(RaisingPlatform& owner)
            : platform(owner)
        {
        }
        std::int32_t findProcessByNameCheckAlive(const std::string&, bool) override { return 0; }
        void scanMissedCrash() override { }
        void removeProcess(std::int32_t) override { }
        void addProcessPid(const std::string&, std::int32_t) override { platform.step(); }
        RaisingPlatform& platform;
    };
    struct Connection final : CrashReporterConnection {
        explicit Connection(RaisingPlatform& owner)
            : platform(owner)
        {
        }
        std::unique_ptr<CrashReporterRemote> rootProxy() override
        {
            platform.step();
            return std::make_unique<Remote>(platform);
        }
        void invalidate() override { platform.step(); }
        RaisingPlatform& platform;
    };

    std::unique_ptr<CrashReporterConnection> connectionWithRegisteredName(std::string_view) override
    {
        step();
        return reporterRuns ? std::make_unique<Connection>(*this) : nullptr;
    }
    void sleepForTimeInterval(double) override { step(); }
    int processTable(void*, std::size_t*) override
    {
        step();
        return -1;
    }
    void kill(std::int32_t, int) override { }
    bool fileExistsAtPath(const Path&) override
    {
        step();
        return true;
    }
    bool openApplication(const Path&) override
    {
        step();
        reporterRuns = true;
        return true;
    }
    Path mainBundleFolder() override
    {
        step();
        return "/opt/suite";
    }
    Path mainExecutableFolder() override { return "/opt/suite/bin"; }
};

TEST(Announcement, NothingThatIsThrownInsideLeavesIt)
{
    test::LogCapture log;
    const std::function<void()> kinds[] = {
        [] { throw 7; },
        [] { throw NSException(NSGenericException, "no"); },
        [] { throw std::bad_alloc(); },
        [] { throw "text"; },
    };
    for (const auto& kind : kinds) {
        int raised = 0;
        for (bool allTaken = false; !allTaken; raised += !allTaken) {
            RaisingPlatform platform;
            platform.raise = kind;
            platform.stepsUntilThen = raised;
            announceThisProcess(platform);
            allTaken = platform.stepsUntilThen >= 0;
        }
        EXPECT_EQ(raised, 11)
            << "lookup, table, folder, two looks at the file, start, sleep, lookup, proxy, message, end";
    }
    EXPECT_FALSE(log.lines().empty());
}

} // namespace
} // namespace mv
