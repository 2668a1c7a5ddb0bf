#include "service/media1/EncodingJob.h"

#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "service/isolated/WorkerHost.h"
#include "service/media1/MediaInput.h"

#include <algorithm>
#include <thread>
#include <utility>

namespace mv {

namespace {

std::string nameIn(const std::string& path) { return cleanedUtf8(Path(path).lastPathComponent()); }

bool isAboutDestination(MediaErrorKind kind)
{
    return kind == MediaErrorKind::Exists || kind == MediaErrorKind::NoSpace || kind == MediaErrorKind::AccessDenied
        || kind == MediaErrorKind::NotFound;
}

const char* formOf(MediaErrorKind kind)
{
    switch (kind) {
    case MediaErrorKind::Exists:
        return "\"%s\" is there already.";
    case MediaErrorKind::NoSpace:
        return "There is no room on the disk for \"%s\".";
    case MediaErrorKind::AccessDenied:
        return "\"%s\" may not be written.";
    case MediaErrorKind::NotFound:
        return "The folder for \"%s\" is not there.";
    case MediaErrorKind::Unsupported:
        return "\"%s\" has no sound that can be encoded so.";
    case MediaErrorKind::TimedOut:
        return "Encoding \"%s\" came to a halt and was given up.";
    case MediaErrorKind::Crashed:
        return "The process that encoded \"%s\" died; the file is left alone for a while.";
    case MediaErrorKind::Cancelled:
        return "Encoding \"%s\" was cancelled.";
    default:
        return "\"%s\" cannot be encoded.";
    }
}

} // namespace

MediaError encodingError(MediaErrorKind kind, const EncodingOrder& order)
{
    const std::string name = nameIn(isAboutDestination(kind) ? order.destination : order.source);
    return { kind, formatText(formOf(kind), name.c_str()) };
}

/// What the worker tells of.
class EncodingJob::Progress final : public MVMP4ExporterDelegate {
public:
    explicit Progress(EncodingJob& job)
        : m_job(job)
    {
    }
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        // The last hundredth is the naming of the file.
        m_job.report(static_cast<double>(std::min(percent, 99)) / 100);
        return !m_job.m_stop.stop_requested();
    }

private:
    EncodingJob& m_job;
};

EncodingJob::Status EncodingJob::status() const
{
    MutexLock hold(m_lock);
    return m_status;
}

void EncodingJob::setListener(std::function<void()> listener)
{
    MutexLock hold(m_lock);
    m_listener = std::move(listener);
}

void EncodingJob::cancel()
{
    std::function<void()> listener;
    {
        MutexLock hold(m_lock);
        if (!m_hasBegun && m_status.state == EncodingState::Running) {
            setEnd(encodingError(MediaErrorKind::Cancelled, m_order));
            listener = std::exchange(m_listener, {});
        }
    }
    m_stop.request_stop();
    if (listener)
        listener();
}

/// False where it has ended before its turn came.
bool EncodingJob::begin()
{
    MutexLock hold(m_lock);
    m_hasBegun = true;
    m_lastTold = Clock::now();
    return m_status.state == EncodingState::Running;
}

void EncodingJob::run(WorkerHost& workers, unsigned freeCores)
{
    if (!begin())
        return;
    std::optional<MediaError> problem;
    try {
        problem = outcomeOf(workers, freeCores);
    } catch (const MediaError& error) {
        problem = error;
    } catch (const std::exception& error) {
        NSLogAt(LogPriority::Warning, "%s was not encoded: %s", m_order.source.c_str(), error.what());
        problem = encodingError(MediaErrorKind::Failed, m_order);
    }
    end(std::move(problem));
}

std::optional<MediaError> EncodingJob::outcomeOf(WorkerHost& workers, unsigned freeCores)
{
    const SharedPlace place
        = m_order.replaces ? OutputPlace::at(m_order.destination) : OutputPlace::atFreeName(m_order.destination);
    Progress progress(*this);
    WritingJob job { .operation = WritingOperation::EncodeSound,
        .file = MediaInput::at(m_order.source).open(),
        .encoding = m_order.wish };
    if (job.encoding.cores == 0)
        job.encoding.cores = freeCores;
    job.encoding.cores
        = std::min({ job.encoding.cores, MaxEncodingCores, std::max(1u, std::thread::hardware_concurrency()) });
    WritingAnswer answer
        = workers.write(std::move(job), { .place = place.get(), .delegate = &progress, .stop = m_stop.get_token() });
    auto kind = static_cast<MediaErrorKind>(std::get<std::int32_t>(answer));
    // A file that has its name by now is whole, whoever has changed his mind meanwhile.
    if (kind == MediaErrorKind {})
        return std::nullopt;
    return encodingError(m_stop.stop_requested() ? MediaErrorKind::Cancelled : kind, m_order);
}

void EncodingJob::report(double progress)
{
    std::function<void()> listener;
    {
        MutexLock hold(m_lock);
        if (progress <= m_status.progress)
            return;
        m_status.progress = progress;
        if (Clock::now() < m_lastTold + Pace)
            return;
        m_lastTold = Clock::now();
        listener = m_listener;
    }
    if (listener)
        listener();
}

/// The end is always told, and at once: nobody waits for it, and the next job for its turn.
void EncodingJob::end(std::optional<MediaError> problem)
{
    std::function<void()> listener;
    {
        MutexLock hold(m_lock);
        setEnd(std::move(problem));
        listener = std::exchange(m_listener, {});
    }
    if (listener)
        listener();
}

void EncodingJob::setEnd(std::optional<MediaError> problem)
{
    if (!problem) {
        m_status.state = EncodingState::Done;
        m_status.progress = 1;
    } else {
        bool isCancelled = problem->kind() == MediaErrorKind::Cancelled;
        m_status.state = isCancelled ? EncodingState::Cancelled : EncodingState::Failed;
    }
    m_status.error = std::move(problem);
}

} // namespace mv
