#include "service/media1/FairQueue.h"
#include "tests/support/Eventually.h"

#include <algorithm>
#include <atomic>
#include <gtest/gtest.h>
#include <semaphore>
#include <string>
#include <vector>

namespace mv {
namespace {

/// Notes what ran, in its order, and holds work until it is let go.
class Trace {
public:
    FairQueue::Work noting(std::string name)
    {
        return [this, name = std::move(name)] { note(name); };
    }
    FairQueue::Work holding(std::string name)
    {
        return [this, name = std::move(name)] {
            note(name);
            m_gate.acquire();
        };
    }
    void letGo(int count = 1) { m_gate.release(count); }
    std::vector<std::string> names()
    {
        MutexLock hold(m_lock);
        return m_names;
    }
    bool awaitCount(std::size_t count)
    {
        return test::eventually([&] { return names().size() == count; });
    }

private:
    void note(const std::string& name)
    {
        MutexLock hold(m_lock);
        m_names.push_back(name);
    }

    Mutex m_lock;
    std::vector<std::string> m_names MV_GUARDED_BY(m_lock);
    std::counting_semaphore<> m_gate { 0 };
};

using Names = std::vector<std::string>;

TEST(FairQueue, OneClientsWorkKeepsItsOrder)
{
    Trace trace;
    FairQueue queue(1);
    for (const char* name : { "1", "2", "3" })
        queue.add("a", trace.noting(name));
    EXPECT_TRUE(trace.awaitCount(3));
    EXPECT_EQ(trace.names(), (Names { "1", "2", "3" }));
}

TEST(FairQueue, AClientWithoutRunningWorkDoesNotWait)
{
    Trace trace;
    FairQueue queue(1);
    for (int i = 0; i < 100; ++i)
        queue.add("a", trace.holding("a"));
    ASSERT_TRUE(trace.awaitCount(1));
    for (const char* client : { "b", "c" })
        queue.add(client, trace.noting(client));
    ASSERT_TRUE(trace.awaitCount(3)) << "though every core is in use, and others were there before";
    Names names = trace.names();
    EXPECT_EQ(std::ranges::count(names, "a"), 1);
    trace.letGo(100);
    EXPECT_TRUE(trace.awaitCount(102));
}

TEST(FairQueue, AsManyRunAsThereAreCores)
{
    Trace trace;
    FairQueue queue(2);
    for (int i = 0; i < 4; ++i)
        queue.add("a", trace.holding("a"));
    ASSERT_TRUE(trace.awaitCount(2));
    EXPECT_EQ(queue.threads(), 2u);
    queue.add("b", trace.noting("b"));
    ASSERT_TRUE(trace.awaitCount(3)) << "another client's waits for none of them";
    EXPECT_EQ(trace.names().back(), "b");
    trace.letGo(4);
    EXPECT_TRUE(trace.awaitCount(5));
}

TEST(FairQueue, ThreadsGoSomeTimeAfterTheWork)
{
    Trace trace;
    FairQueue queue(2, std::chrono::milliseconds(1));
    EXPECT_EQ(queue.threads(), 0u) << "none before there is work";
    queue.add("a", trace.noting("a"));
    ASSERT_TRUE(trace.awaitCount(1));
    EXPECT_TRUE(test::eventually([&] { return queue.threads() == 0; }));
    queue.add("a", trace.noting("again"));
    EXPECT_TRUE(trace.awaitCount(2));
}

TEST(FairQueue, AtItsEndWhatRunsIsWaitedForAndTheRestDropped)
{
    Trace trace;
    {
        FairQueue queue(1);
        queue.add("a", trace.holding("begun"));
        queue.add("a", trace.noting("dropped"));
        ASSERT_TRUE(trace.awaitCount(1));
        trace.letGo();
        // Either ran before the end, or is dropped by it; nothing runs after it.
    }
    std::size_t count = trace.names().size();
    EXPECT_LE(count, 2u);
    EXPECT_EQ(trace.names().front(), "begun");
}

TEST(FairQueue, ManyPiecesOfManyClientsAllRun)
{
    std::atomic<int> count = 0;
    FairQueue queue(3, std::chrono::milliseconds(1));
    for (int i = 0; i < 5000; ++i)
        queue.add("client " + std::to_string(i % 17), [&] { ++count; });
    EXPECT_TRUE(test::eventually([&] { return count == 5000; }));
    EXPECT_LE(queue.threads(), FairQueue::MaxThreads);
}

} // namespace
} // namespace mv
