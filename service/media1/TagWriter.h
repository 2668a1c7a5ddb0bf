#pragma once

#include "service/isolated/PoisonList.h"
#include "service/isolated/WorkerPool.h"
#include "service/job/TagChanges.h"
#include "service/media1/MediaInput.h"
#include "service/media1/MediaWorkers.h"
#include "system/Mutex.h"

#include <condition_variable>
#include <functional>
#include <set>
#include <string>

namespace mv {

/// What it means for a caller that a file could not be replaced so.
MediaErrorKind tagErrorKind(const Error& error);

/// Changes the tags of files. What a file is to hold is planned, and what was made of it looked at, by a closed process
/// of each change's own, which can write nothing; the file is replaced here, whole or not at all. Changes by one path
/// take turns here, all others of one file by its lock. Safe on several threads at once.
class TagWriter {
public:
    explicit TagWriter(WorkerPool& pool)
        : m_pool(pool)
    {
    }

    /// What the file is that is going to be changed; may raise a MediaError.
    using Describe = std::function<Facts(const OpenedFile& file)>;

    /// Raises a MediaError, and then the file is as it was.
    void write(const MediaInput& input, const TagChanges& changes, const MediaCaller& caller, const Describe& describe)
        MV_EXCLUDES(m_lock);

    /// Whether tags of that type of files are written.
    static bool isWritable(std::string_view mimeType);

private:
    class Turn;

    /// `changes` as of encodeTagChanges.
    void replace(EditableFile& file, Bytes changes, const MediaCaller& caller);

    WorkerPool& m_pool;
    PoisonList m_crashes;
    PoisonList m_deadlines;
    Mutex m_lock;
    std::condition_variable_any m_changed;
    std::set<std::string> m_busy MV_GUARDED_BY(m_lock); // paths
};

} // namespace mv
