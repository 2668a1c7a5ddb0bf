#include "application/NSDistributedNotificationCenter.h"

#include "application/NSApplication.h"
#include "tests/support/LogCapture.h"
#include "tests/support/PrivateBus.h"

#include <gtest/gtest.h>
#include <thread>

namespace mv {
namespace {

struct Delegate final : NSApplicationDelegate {
    std::function<void()> launched;
    void applicationDidFinishLaunching() override { launched(); }
};

TEST(NSDistributedNotificationCenter, DeliversOnlyTheNameAndObjectThatWereAskedFor)
{
    test::PrivateBus bus;
    NSApplication application;
    NSDistributedNotificationCenter center(application);
    std::vector<std::string> got;
    center.addObserver("Quit", "Mivo", [&] { got.emplace_back("Quit"); });
    center.addObserver("Removed", "Mivo", [&] { got.emplace_back("Removed"); });
    center.addObserver("End", "Mivo", [&] { application.terminate(); });
    center.removeObserver("Removed", "Mivo");
    Delegate delegate;
    std::thread poster;
    delegate.launched = [&] {
        poster = std::thread([] {
            EXPECT_TRUE(NSDistributedNotificationCenter::post("Quit", "Other"));
            EXPECT_TRUE(NSDistributedNotificationCenter::post("Other", "Mivo"));
            EXPECT_TRUE(NSDistributedNotificationCenter::post("Removed", "Mivo"));
            EXPECT_TRUE(NSDistributedNotificationCenter::post("Quit", "Mivo"));
            EXPECT_TRUE(NSDistributedNotificationCenter::post("End", "Mivo"));
        });
    };
    application.run(delegate);
    poster.join();
    EXPECT_EQ(got, std::vector<std::string> { "Quit" });
}

TEST(NSDistributedNotificationCenter, AnObserverThatRaisesStopsNothing)
{
    test::LogCapture log;
    test::PrivateBus bus;
    NSApplication application;
    NSDistributedNotificationCenter center(application);
    center.addObserver("Quit", "Mivo", [] { throw 7; });
    center.addObserver("End", "Mivo", [&] { application.terminate(); });
    Delegate delegate;
    delegate.launched = [] {
        EXPECT_TRUE(NSDistributedNotificationCenter::post("Quit", "Mivo"));
        EXPECT_TRUE(NSDistributedNotificationCenter::post("End", "Mivo"));
    };
    application.run(delegate);
    EXPECT_EQ(log.lines(), std::vector<std::string> { "an observer raised at a notification" });
}

TEST(NSDistributedNotificationCenter, TheEndOfTheBusTerminatesTheApplication)
{
    test::PrivateBus bus;
    NSApplication application;
    NSDistributedNotificationCenter center(application);
    center.addObserver("Quit", "Mivo", [] {});
    Delegate delegate;
    delegate.launched = [&] { bus.kill(); };
    application.run(delegate);
    EXPECT_TRUE(application.terminateAsked());
}

} // namespace
} // namespace mv
