#include "service/media1/FairQueue.h"

#include "Base/Core/NSLog.h"

#include <system_error>
#include <thread>
#include <utility>

namespace mv {

FairQueue::~FairQueue()
{
    MutexLock hold(m_lock);
    m_ends = true;
    for (auto& [client, lane] : m_lanes)
        lane.waiting.clear();
    m_changed.notify_all();
    while (m_threads > 0)
        m_changed.wait(m_lock);
}

std::size_t FairQueue::threads() const
{
    MutexLock hold(m_lock);
    return m_threads;
}

std::size_t FairQueue::pieces() const
{
    MutexLock hold(m_lock);
    std::size_t pieces = m_running;
    for (const auto& [client, lane] : m_lanes)
        pieces += lane.waiting.size();
    return pieces;
}

void FairQueue::add(const std::string& client, Work work)
{
    MutexLock hold(m_lock);
    m_lanes[client].waiting.push_back(std::move(work));
    try {
        callThread();
    } catch (const std::system_error&) {
        // One that runs takes it when it is done.
        if (m_threads > 0)
            return;
        m_lanes[client].waiting.pop_back();
        throw;
    }
}

/// A thread for work that may begin, where one is missing.
void FairQueue::callThread()
{
    if (next() == m_lanes.end())
        return;
    if (m_idle > 0)
        return m_changed.notify_all();
    if (m_threads >= MaxThreads)
        return;
    ++m_threads;
    ++m_idle; // until it takes its first work
    try {
        std::thread([this] { run(); }).detach();
    } catch (const std::system_error&) {
        --m_threads;
        --m_idle;
        throw;
    }
}

FairQueue::Lanes::iterator FairQueue::next()
{
    auto mayBegin = [this](const Lane& lane) MV_REQUIRES(m_lock) {
        return !lane.waiting.empty() && (lane.running == 0 || (m_running < m_cores && lane.running < m_cores));
    };
    // By name, from the one after the last, round and round.
    auto first = m_lanes.upper_bound(m_lastClient);
    for (auto lane = first; lane != m_lanes.end(); ++lane) {
        if (mayBegin(lane->second))
            return lane;
    }
    for (auto lane = m_lanes.begin(); lane != first; ++lane) {
        if (mayBegin(lane->second))
            return lane;
    }
    return m_lanes.end();
}

FairQueue::Work FairQueue::take(Lanes::iterator lane)
{
    m_lastClient = lane->first;
    Work work = std::move(lane->second.waiting.front());
    lane->second.waiting.pop_front();
    ++lane->second.running;
    ++m_running;
    return work;
}

void FairQueue::finish(const std::string& client)
{
    --m_running;
    auto lane = m_lanes.find(client);
    if (--lane->second.running == 0 && lane->second.waiting.empty())
        m_lanes.erase(lane);
}

/// False when there has been nothing to do for long.
bool FairQueue::awaitWork()
{
    const Clock::time_point end = Clock::now() + m_maxIdle;
    while (!m_ends && next() == m_lanes.end() && Clock::now() < end)
        m_changed.wait_until(m_lock, end);
    --m_idle;
    return next() != m_lanes.end();
}

void FairQueue::run()
{
    MutexLock hold(m_lock);
    while (awaitWork()) {
        auto lane = next();
        const std::string client = lane->first;
        Work work = take(lane);
        try {
            callThread();
        } catch (const std::system_error& problem) {
            NSLog("no further thread for work on files: %s", problem.what());
        }
        m_lock.unlock();
        work();
        work = {}; // what it holds goes outside the lock
        m_lock.lock();
        ++m_idle;
        finish(client);
    }
    --m_threads;
    m_changed.notify_all();
}

} // namespace mv
