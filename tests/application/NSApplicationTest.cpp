#include "application/NSApplication.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <thread>
#include <unistd.h>

namespace mv {
namespace {

struct Delegate final : NSApplicationDelegate {
    std::function<void()> launched;
    void applicationDidFinishLaunching() override
    {
        if (launched)
            launched();
    }
};

TEST(NSApplication, TerminateDuringLaunchEndsTheLoop)
{
    NSApplication application;
    Delegate delegate;
    delegate.launched = [&] { application.terminate(); };
    EXPECT_EQ(application.run(delegate), 0);
    EXPECT_TRUE(application.terminateAsked());
}

TEST(NSApplication, CallsAtATimeAndOnlyWhatWasAskedForLast)
{
    NSApplication application;
    Delegate delegate;
    std::vector<int> order;
    auto now = std::chrono::steady_clock::now();
    delegate.launched = [&] {
        application.callAt(now, [&] { order.push_back(1); });
        application.callAt(now, [&] {
            order.push_back(2);
            application.callAt(now + std::chrono::milliseconds(1), [&] {
                order.push_back(3);
                application.terminate();
            });
        });
    };
    application.run(delegate);
    EXPECT_EQ(order, (std::vector<int> { 2, 3 }));
    EXPECT_GE(std::chrono::steady_clock::now(), now + std::chrono::milliseconds(1));
}

TEST(NSApplication, PostedWorkRunsInOrderOnTheMainThread)
{
    NSApplication application;
    Delegate delegate;
    std::vector<int> order;
    std::thread::id where;
    std::thread poster;
    delegate.launched = [&] {
        poster = std::thread([&] {
            for (int i = 0; i < 3; ++i)
                application.post([&, i] { order.push_back(i); });
            application.post([&] {
                where = std::this_thread::get_id();
                application.terminate();
            });
        });
    };
    application.run(delegate);
    poster.join();
    EXPECT_EQ(order, (std::vector<int> { 0, 1, 2 }));
    EXPECT_EQ(where, std::this_thread::get_id());
}

TEST(NSApplication, WatchesDescriptors)
{
    NSApplication application;
    Delegate delegate;
    int ends[2];
    ASSERT_EQ(pipe(ends), 0);
    int calls = 0;
    delegate.launched = [&] {
        application.watch(ends[0], [&] {
            char c = 0;
            EXPECT_EQ(read(ends[0], &c, 1), 1);
            if (++calls == 2) {
                application.unwatch(ends[0]);
                application.terminate();
            }
        });
        EXPECT_EQ(write(ends[1], "ab", 2), 2);
    };
    application.run(delegate);
    EXPECT_EQ(calls, 2);
    close(ends[0]);
    close(ends[1]);
}

} // namespace
} // namespace mv
