#include "cli/OrderedWork.h"

#include "system/Mutex.h"

#include <algorithm>
#include <map>
#include <thread>
#include <vector>

namespace mv::cli {

namespace {

constexpr std::size_t ItemsAhead = 256;

class Queue {
public:
    explicit Queue(const OrderedWork& work)
        : m_work(work)
    {
    }

    struct Item {
        std::size_t index;
        std::string name;
    };

    /// The next item for a worker; nothing when there is none left. Waits while the emitter is far behind, and for
    /// the source, which one worker at a time asks.
    std::optional<Item> next() MV_EXCLUDES(m_source, m_lock)
    {
        MutexLock source(m_source);
        {
            MutexLock lock(m_lock);
            while (m_taken >= m_emitted + ItemsAhead)
                m_changed.wait(m_lock);
            if (m_ended)
                return std::nullopt;
        }
        auto name = m_work.next();
        MutexLock lock(m_lock);
        m_ended = !name;
        m_changed.notify_all();
        return name ? std::optional(Item { m_taken++, std::move(*name) }) : std::nullopt;
    }
    void finish(std::size_t index, WorkResult result) MV_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        m_finished.emplace(index, std::move(result));
        m_changed.notify_all();
    }
    /// Waits for the result of an item; nothing when no such item came.
    std::optional<WorkResult> take(std::size_t index) MV_EXCLUDES(m_lock)
    {
        MutexLock lock(m_lock);
        while (!m_finished.contains(index)) {
            if (m_ended && index >= m_taken)
                return std::nullopt;
            m_changed.wait(m_lock);
        }
        WorkResult result = std::move(m_finished.extract(index).mapped());
        m_emitted = index + 1;
        m_changed.notify_all();
        return result;
    }

private:
    const OrderedWork& m_work;
    Mutex m_source;
    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::map<std::size_t, WorkResult> m_finished MV_GUARDED_BY(m_lock);
    std::size_t m_taken MV_GUARDED_BY(m_lock) = 0;
    std::size_t m_emitted MV_GUARDED_BY(m_lock) = 0;
    bool m_ended MV_GUARDED_BY(m_lock) = false;
};

void serve(const OrderedWork& all, Queue& queue)
{
    OrderedWork::Work work;
    while (auto item = queue.next()) {
        if (!work)
            work = all.makeWorker();
        queue.finish(item->index, work(item->index, item->name));
    }
}

} // namespace

ExitStatus OrderedWork::run() const
{
    Queue queue(*this);
    std::vector<std::jthread> threads;
    for (std::size_t i = 0; i < workers; ++i)
        threads.emplace_back([&] { serve(*this, queue); });
    ExitStatus status = ExitStatus::Done;
    for (std::size_t index = 0; auto result = queue.take(index); ++index) {
        emit(index, *result);
        status = worse(status, result->status);
    }
    return status;
}

} // namespace mv::cli
