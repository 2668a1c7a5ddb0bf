#pragma once

#include "system/FileAttributes.h"
#include "system/Mutex.h"
#include "system/OpenedFile.h"

#include <chrono>
#include <cstddef>
#include <list>
#include <unordered_map>

namespace mv {

/// What was done with which file, as it was then.
struct FileDeed {
    FileIdentity file;
    std::int64_t size = 0;
    Date modified;
    int operation = 0; ///< a number of each operation's own

    bool operator==(const FileDeed&) const = default;
};

/// That operation with the file as it was opened; of one that is not there an empty deed.
FileDeed deedOf(const OpenedFile& file, int operation);

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

    /// Forgets what is older than Memory, too.
    void remember(const FileDeed& deed, Death death, Clock::time_point now = Clock::now()) MV_EXCLUDES(m_lock);
    bool isPoison(const FileDeed& deed, Clock::time_point now = Clock::now()) const MV_EXCLUDES(m_lock);
    std::size_t size() const MV_EXCLUDES(m_lock);

private:
    struct Entry {
        FileDeed deed;
        Clock::time_point at;
        int weight = 0;
    };
    using Entries = std::list<Entry>;
    struct DeedHash {
        std::size_t operator()(const FileDeed& deed) const;
    };

    void forgetOldest() MV_REQUIRES(m_lock);
    void forgetOld(Clock::time_point now) MV_REQUIRES(m_lock);

    mutable Mutex m_lock;
    Entries m_entries MV_GUARDED_BY(m_lock); // the oldest first
    std::unordered_map<FileDeed, Entries::iterator, DeedHash> m_places MV_GUARDED_BY(m_lock);
};

} // namespace mv
