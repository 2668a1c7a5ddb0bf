#include "cli/OrderedWork.h"

#include "platform/system/Mutex.h"

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

namespace mv::cli {

namespace {

constexpr std::size_t ItemsAhead = 256;

class Queue {
public:
    explicit Queue(std::size_t count)
        : m_count(count)
    {
    }

    /// The next item for a worker; `count` when there is none left. Waits while the emitter is far behind.
    std::size_t next() MV_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        while (m_next < m_count && m_next >= m_emitted + ItemsAhead)
            m_changed.wait(m_lock);
        return m_next < m_count ? m_next++ : m_count;
    }
    void finish(std::size_t item, WorkResult result) MV_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_finished.emplace(item, std::move(result));
        m_changed.notify_all();
    }
    /// Waits for the result of an item.
    WorkResult take(std::size_t item) MV_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        while (!m_finished.contains(item))
            m_changed.wait(m_lock);
        WorkResult result = std::move(m_finished.extract(item).mapped());
        m_emitted = item + 1;
        m_changed.notify_all();
        return result;
    }

private:
    const std::size_t m_count;
    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::map<std::size_t, WorkResult> m_finished MV_GUARDED_BY(m_lock);
    std::size_t m_next MV_GUARDED_BY(m_lock) = 0;
    std::size_t m_emitted MV_GUARDED_BY(m_lock) = 0;
};

} // namespace

void runInOrder(std::size_t count, std::size_t workers, const std::function<Work()>& makeWorker,
    const std::function<void(std::size_t item, const WorkResult&)>& emit)
{
    Queue queue(count);
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < std::min(workers, count); ++i) {
        threads.emplace_back([&] {
            Work work = makeWorker();
            for (std::size_t item = queue.next(); item < count; item = queue.next())
                queue.finish(item, work(item));
        });
    }
    for (std::size_t item = 0; item < count; ++item)
        emit(item, queue.take(item));
}

} // namespace mv::cli
