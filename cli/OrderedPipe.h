#pragma once

#include "system/Mutex.h"

#include <cstddef>
#include <functional>
#include <map>
#include <optional>
#include <thread>
#include <vector>

namespace mv::cli {

/// Runs work on items on several threads and hands the results out in the order of the items, one at a time on the
/// calling thread, each as soon as it and all before it are there.
template <class Item, class Result> struct OrderedPipe {
    using Work = std::function<Result(std::size_t index, const Item& item)>;

    /// The next item; nothing at the end. Called by one thread at a time, and may wait for what is not there yet.
    std::function<std::optional<Item>()> next;
    std::size_t workers = 1;
    /// So many items are at most ahead of the one that is waited for, so that long lists take little memory.
    std::size_t ahead = 256;
    /// Gives a thread its work; called on that thread, when its first item is there.
    std::function<Work()> makeWorker;
    std::function<void(std::size_t index, const Result&)> emit;

    /// Returns when every result was emitted.
    void run() const
    {
        Queue queue(*this);
        std::vector<std::jthread> threads;
        for (std::size_t i = 0; i < workers; ++i)
            threads.emplace_back([&] { serve(queue); });
        for (std::size_t index = 0; auto result = queue.take(index); ++index)
            emit(index, *result);
    }

private:
    class Queue {
    public:
        explicit Queue(const OrderedPipe& pipe)
            : m_pipe(pipe)
        {
        }

        struct Numbered {
            std::size_t index;
            Item item;
        };

        /// The next item for a worker; nothing when there is none left. Waits while the emitter is far behind, and for
        /// the source, which one worker at a time asks.
        std::optional<Numbered> next() MV_EXCLUDES(m_source, m_lock)
        {
            MutexLock source(m_source);
            {
                MutexLock lock(m_lock);
                while (m_taken >= m_emitted + m_pipe.ahead)
                    m_changed.wait(m_lock);
                if (m_ended)
                    return std::nullopt;
            }
            auto item = m_pipe.next();
            MutexLock lock(m_lock);
            m_ended = !item;
            m_changed.notify_all();
            return item ? std::optional(Numbered { m_taken++, std::move(*item) }) : std::nullopt;
        }
        void finish(std::size_t index, Result result) MV_EXCLUDES(m_lock)
        {
            MutexLock lock(m_lock);
            m_finished.emplace(index, std::move(result));
            m_changed.notify_all();
        }
        /// Waits for the result of an item; nothing when no such item came.
        std::optional<Result> take(std::size_t index) MV_EXCLUDES(m_lock)
        {
            MutexLock lock(m_lock);
            while (!m_finished.contains(index)) {
                if (m_ended && index >= m_taken)
                    return std::nullopt;
                m_changed.wait(m_lock);
            }
            Result result = std::move(m_finished.extract(index).mapped());
            m_emitted = index + 1;
            m_changed.notify_all();
            return result;
        }

    private:
        const OrderedPipe& m_pipe;
        Mutex m_source;
        Mutex m_lock;
        std::condition_variable_any m_changed;
        std::map<std::size_t, Result> m_finished MV_GUARDED_BY(m_lock);
        std::size_t m_taken MV_GUARDED_BY(m_lock) = 0;
        std::size_t m_emitted MV_GUARDED_BY(m_lock) = 0;
        bool m_ended MV_GUARDED_BY(m_lock) = false;
    };

    void serve(Queue& queue) const
    {
        Work work;
        while (auto numbered = queue.next()) {
            if (!work)
                work = makeWorker();
            queue.finish(numbered->index, work(numbered->index, numbered->item));
        }
    }
};

} // namespace mv::cli
