#pragma once

#include "service/isolated/PoisonList.h"
#include "service/isolated/WorkerPool.h"
#include "service/job/MediaJob.h"

#include <optional>
#include <stop_token>
#include <string>
#include <vector>

namespace mv {

/// Who waits for a piece of work, and whether anybody still does.
struct MediaCaller {
    std::string client;
    std::stop_token stop;
};

/// Has media jobs done by workers, and answers for them whatever they do. Safe on several threads at once.
class MediaWorkers {
public:
    /// Of a worker's processor time, and of the clock, for one file; the bus gives a call up after 25 seconds.
    static constexpr std::chrono::seconds ProcessorTime { 15 };
    static constexpr std::chrono::seconds Patience { 22 };
    /// For several files together. One that takes longer is read again alone, with all the time there is.
    static constexpr std::chrono::seconds BatchPatience { 5 };

    explicit MediaWorkers(WorkerPool& pool)
        : m_pool(pool)
    {
    }

    /// What a file gave, or why it gave nothing.
    using Outcome = std::variant<MediaErrorKind, Facts, Thumbnail>;

    /// Does the job, of at most MaxMediaFiles files. A file that ends a worker is blamed alone. Raises a MediaError
    /// where no worker can be had, and when the caller does not wait any more.
    std::vector<Outcome> run(MediaJob job, const MediaCaller& caller);

private:
    class Run;

    std::optional<MediaErrorKind> poisonOf(const FileDeed& deed) const;

    WorkerPool& m_pool;
    PoisonList m_crashes;
    PoisonList m_deadlines;
};

} // namespace mv
