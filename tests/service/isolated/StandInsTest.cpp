#include "service/isolated/StandIns.h"

#include "tests/service/isolated/WritingFixture.h"
#include "tests/support/Instrumented.h"
#include "tests/support/Places.h"

#include <algorithm>
#include <thread>

namespace mv::test {
namespace {

/// Notes whose turn it was, for several jobs at once.
class Turns {
public:
    void note(int job)
    {
        MutexLock hold(m_lock);
        m_turns.push_back(job);
    }
    std::vector<int> taken()
    {
        MutexLock hold(m_lock);
        return m_turns;
    }

private:
    Mutex m_lock;
    std::vector<int> m_turns MV_GUARDED_BY(m_lock);
};

class TurnDelegate final : public MVMP4ExporterDelegate {
public:
    TurnDelegate(Turns& turns, int job)
        : m_turns(turns)
        , m_job(job)
    {
    }
    bool MP4ExporterProgress(std::int32_t) override
    {
        m_turns.note(m_job);
        std::this_thread::yield();
        return true;
    }

private:
    Turns& m_turns;
    int m_job;
};

class StandIns : public WritingFixture { };

// Two exporters, as two services would have them: their jobs never overlap.
TEST_F(StandIns, ExportersDoOneJobAtATimeInTheWholeProcess)
{
    MV_NEEDS_CLOSED_PROCESSES();
    WorkerHost workers(buildPath("bin/mivo-worker"));
    const OpenedFile source = OpenedFile::at(wave("in.wav", 4'000'000));
    Turns turns;
    auto convert = [&](int job) {
        IsolatedMP4Exporter exporter(workers);
        TurnDelegate delegate(turns, job);
        auto place = OutputPlace::at(scratch.file(std::to_string(job) + ".m4a"));
        EXPECT_EQ(exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(&delegate, source, place, 128'000), 0);
    };
    std::thread first(convert, 1);
    std::thread second(convert, 2);
    first.join();
    second.join();
    std::vector<int> taken = turns.taken();
    std::vector<int> jobs = taken;
    jobs.erase(std::unique(jobs.begin(), jobs.end()), jobs.end());
    EXPECT_EQ(jobs.size(), 2u) << "a job's turns are one stretch";
    EXPECT_GT(taken.size(), 4u);
}

} // namespace
} // namespace mv::test
