#pragma once

#include "system/Mutex.h"

#include <condition_variable>
#include <deque>
#include <utility>

namespace mv {

/// A bounded queue from one producing thread to one consuming thread. The consumer is woken for a batch at a time,
/// so that small items do not cost a switch of threads each.
template <class T> class BatchQueue {
public:
    /// The producer waits while `capacity` items are queued; `batch` (at most the capacity) of them wake the consumer.
    BatchQueue(std::size_t capacity, std::size_t batch)
        : m_capacity(capacity)
        , m_batch(batch)
    {
    }

    /// False when the queue was closed, by either side: the item is dropped.
    bool push(T item) MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        while (!m_closed && m_items.size() >= m_capacity)
            m_roomForMore.wait(m_lock);
        if (m_closed)
            return false;
        m_items.push_back(std::move(item));
        if (m_items.size() == m_batch)
            m_somethingToDo.notify_one();
        return true;
    }

    /// Moves everything queued into `items`, waiting for a batch while the queue is open. Empty only when it is closed
    /// and nothing is left.
    void takeAll(std::deque<T>& items) MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        while (!m_closed && m_items.size() < m_batch)
            m_somethingToDo.wait(m_lock);
        items.clear();
        items.swap(m_items);
        m_roomForMore.notify_one();
    }

    /// No more items go in; those that are in can be taken.
    void close() MV_EXCLUDES(m_lock)
    {
        MutexLock hold(m_lock);
        m_closed = true;
        m_roomForMore.notify_all();
        m_somethingToDo.notify_all();
    }

private:
    const std::size_t m_capacity;
    const std::size_t m_batch;
    Mutex m_lock;
    std::condition_variable_any m_roomForMore;
    std::condition_variable_any m_somethingToDo;
    std::deque<T> m_items MV_GUARDED_BY(m_lock);
    bool m_closed MV_GUARDED_BY(m_lock) = false;
};

} // namespace mv
