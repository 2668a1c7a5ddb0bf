#pragma once

#include "system/FileAttributes.h"
#include "system/Mutex.h"

#include <chrono>
#include <optional>
#include <vector>

namespace mv {

/// What was done with which file, as it was then.
struct FileDeed {
    FileIdentity file;
    std::int64_t size = 0;
    Date modified;
    int operation = 0; ///< a number of each operation's own

    bool operator==(const FileDeed&) const = default;
};

/// Remembers for a while which files ended a worker, so that the next call is answered at once. In memory alone, and
/// the last few. Safe on several threads at once.
class PoisonList {
public:
    using Clock = std::chrono::steady_clock;
    /// More than a folder of harmful files has: the second scan of it is to cost no worker.
    static constexpr std::size_t MaxEntries = 4096;
    static constexpr std::chrono::minutes Memory { 10 };

    enum class Death {
        Crash, ///< one is enough
        Deadline, ///< two are: the machine may have been busy
    };

    void remember(const FileDeed& deed, Death death, Clock::time_point now = Clock::now()) MV_EXCLUDES(m_lock);
    bool isPoison(const FileDeed& deed, Clock::time_point now = Clock::now()) const MV_EXCLUDES(m_lock);

private:
    struct Entry {
        FileDeed deed;
        Clock::time_point at;
        int weight = 0;
    };

    const Entry* find(const FileDeed& deed, Clock::time_point now) const MV_REQUIRES(m_lock);

    mutable Mutex m_lock;
    std::vector<Entry> m_entries MV_GUARDED_BY(m_lock);
    std::size_t m_next MV_GUARDED_BY(m_lock) = 0; // the oldest, once there is no more room
};

} // namespace mv
