#pragma once

#include "service/isolated/WorkerHost.h"
#include "service/media1/EncodingJob.h"
#include "service/media1/FairQueue.h"
#include "service/media1/MediaInput.h"
#include "service/media1/MediaWorkers.h"
#include "service/media1/TagWriter.h"

#include <functional>
#include <memory>
#include <variant>

namespace mv {

/// The interface for new programs, without the bus: its calls come from one thread, their answers on others. All that
/// is said of a file comes from a closed process and is checked, but for where it is, its size and its date.
class MediaService {
public:
    /// At most so many paths in one call.
    static constexpr std::size_t MaxPaths = 1000;
    /// Of a call on many files, together: half of what an answer may have, so that it fits with all that is around it.
    static constexpr std::size_t MaxManyBytes = std::size_t { 16 } << 20;

    template <class T> using Answer = std::variant<T, MediaError>;
    template <class T> using Done = std::function<void(Answer<T>)>;
    using FactsOrError = Answer<Facts>;

    MediaService(WorkerHost& workers, std::size_t cores)
        : m_cores(cores)
        , m_host(workers)
        , m_workers(workers.pool())
        , m_tags(workers.pool())
        , m_jobs(cores)
        , m_queue(cores)
    {
    }

    /// `done` is called once, on another thread mostly. Where the caller's stop is requested before, the work ends soon
    /// and what `done` is given means nothing.
    void describe(MediaInput input, bool withPictures, MediaCaller caller, Done<Facts> done);
    void describeMany(std::vector<std::string> paths, MediaCaller caller, Done<std::vector<FactsOrError>> done);
    void thumbnail(MediaInput input, ThumbnailWish wish, MediaCaller caller, Done<Thumbnail> done);
    /// Gives the facts after it. `changes` is called where the work is done; a MediaError that it raises is the answer.
    void setTags(std::string path, std::function<TagChanges()> changes, MediaCaller caller, Done<Facts> done);

    using SharedJob = std::shared_ptr<EncodingJob>;
    /// Looks whether the order can be done as far as that shows before it is; `done` is given the job, which is to be
    /// begun. Where no `format` is told the destination's ending tells it.
    void encode(EncodingOrder order, std::optional<SoundFormat> format, MediaCaller caller, Done<SharedJob> done);
    /// Has the job done when its turn has come: as many run as there are cores, clients in turn. They keep no other
    /// call waiting. `hold` lives until the job has ended.
    void begin(const SharedJob& job, const std::string& client, std::shared_ptr<void> hold);

private:
    class Many;

    SharedJob jobFor(EncodingOrder order, std::optional<SoundFormat> format, const MediaCaller& caller);
    /// As many as no other job has or waits for.
    unsigned freeCores() const;
    /// `file` is what `input` was opened as.
    Facts factsOf(const OpenedFile& file, const MediaInput& input, MediaOperation operation, const MediaCaller& caller);

    const std::size_t m_cores;
    WorkerHost& m_host;
    MediaWorkers m_workers;
    TagWriter m_tags;
    FairQueue m_jobs;
    FairQueue m_queue; // ends first: its work uses the others
};

} // namespace mv
