#include "service/media1/MediaWorkers.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSLog.h"
#include "service/isolated/JobTalk.h"
#include "service/media1/HostFacts.h"

#include <algorithm>
#include <utility>

namespace mv {

namespace {

MediaErrorKind kindOf(MediaProblem problem)
{
    switch (problem) {
    case MediaProblem::NotMedia:
        return MediaErrorKind::NotMedia;
    case MediaProblem::NoPicture:
        return MediaErrorKind::NoPicture;
    case MediaProblem::TooLarge:
    case MediaProblem::NoMemory:
        return MediaErrorKind::TooLarge;
    case MediaProblem::Failed:
    case MediaProblem::NeedsMedia: // of a worker that has them
        break;
    }
    return MediaErrorKind::Failed;
}

MediaWorkers::Outcome outcomeOf(MediaResult result)
{
    if (auto* facts = std::get_if<Facts>(&result))
        return std::move(*facts);
    if (auto* thumbnail = std::get_if<Thumbnail>(&result))
        return std::move(*thumbnail);
    return kindOf(std::get<MediaProblem>(result));
}

bool isProblem(const MediaResult& result, MediaProblem problem)
{
    const auto* found = std::get_if<MediaProblem>(&result);
    return found && *found == problem;
}

Result<Frame> converse(JobTalk& talk, const MediaJob& job, Channel::Clock::time_point end)
{
    std::vector<int> contents;
    for (const OpenedFile& file : job.files)
        contents.push_back(file.descriptor());
    MV_TRY_VOID(talk.send(Message::MediaJob, encodeMediaJob(job), contents, end));
    return talk.awaitFrame(end);
}

Result<std::vector<MediaResult>> resultsIn(const Frame& frame, const MediaJob& job)
{
    if (frame.kind == kindOf(Message::TooLarge) && job.files.size() == 1)
        return std::vector<MediaResult> { MediaProblem::TooLarge };
    if (frame.kind != kindOf(Message::Answer))
        return Error { Error::Kind::Format, "a message of another kind" };
    MV_TRY(results, decodeMediaResults(job, frame.payload));
    for (const MediaResult& result : results) {
        if (const auto* facts = std::get_if<Facts>(&result))
            MV_TRY_VOID(checkFacts(*facts));
    }
    return results;
}

} // namespace

/// One job: its files, some of which are done.
class MediaWorkers::Run {
public:
    Run(MediaWorkers& workers, MediaJob job, const MediaCaller& caller)
        : m_workers(workers)
        , m_job(std::move(job))
        , m_caller(caller)
        , m_outcomes(m_job.files.size(), MediaErrorKind::Failed)
        , m_ends(m_job.files.size())
    {
    }

    std::vector<Outcome> run()
    {
        std::vector<std::size_t> files;
        for (std::size_t i = 0; i < m_job.files.size(); ++i) {
            if (auto kind = m_workers.poisonOf(deedOf(m_job.files[i], static_cast<int>(m_job.operation))))
                m_outcomes[i] = *kind;
            else
                files.push_back(i);
        }
        runOn(WorkerKind::Light, files);
        return std::move(m_outcomes);
    }

private:
    using Places = std::vector<std::size_t>;

    MediaJob jobOf(const Places& places) const
    {
        MediaJob job { m_job.operation, m_job.debugLevel, m_job.thumbnail, {} };
        for (std::size_t place : places)
            job.files.push_back(m_job.files[place]);
        return job;
    }

    void eachAlone(WorkerKind kind, const Places& places, bool byNewWorker)
    {
        for (std::size_t place : places)
            runOn(kind, { place }, byNewWorker);
    }

    WorkerPool::Loan borrow(WorkerKind kind, bool newWorker)
    {
        auto loan = newWorker ? m_workers.m_pool.fresh(kind) : m_workers.m_pool.forReading(kind, m_caller.client);
        if (!loan)
            throw MediaError(
                MediaErrorKind::Failed, "Nothing can be read, as no worker can be had: " + loan.error().text + ".");
        loan->client = m_caller.client;
        return std::move(*loan);
    }

    void checkWanted() const
    {
        if (m_caller.stop.stop_requested())
            throw MediaError(MediaErrorKind::Cancelled, "Nobody waits for the answer any more.");
    }

    void runOn(WorkerKind kind, const Places& places, bool newWorker = false)
    {
        if (places.empty())
            return;
        checkWanted();
        const MediaJob job = jobOf(places);
        WorkerPool::Loan loan = borrow(kind, newWorker);
        JobTalk talk(*loan.worker);
        auto results = ask(loan, talk, job, endOf(places));
        checkWanted();
        if (results) {
            talk.writeLog();
            return take(kind, places, std::move(*results), std::move(loan));
        }
        WorkerDeath death = talk.endOf(results.error());
        if (places.size() > 1)
            return eachAlone(kind, places, false);
        // What a worker that has read other files does to this one may be their doing.
        if (loan.calls > 0 && death.blame == PoisonList::Death::Crash)
            return runOn(kind, places, true);
        talk.writeLog();
        blame(places.front(), death);
    }

    /// However many workers it takes.
    Channel::Clock::time_point endOf(const Places& places)
    {
        const auto now = Channel::Clock::now();
        if (places.size() > 1)
            return now + BatchPatience;
        auto& end = m_ends[places.front()];
        return end ? *end : end.emplace(now + Patience);
    }

    Result<std::vector<MediaResult>> ask(
        WorkerPool::Loan& loan, JobTalk& talk, const MediaJob& job, Channel::Clock::time_point deadline)
    {
        WorkerProcess& worker = *loan.worker;
        worker.allowProcessorTime(ProcessorTime);
        // A cover comes as it is stored, if at all: nobody need stay.
        const bool mayBeShort = job.operation == MediaOperation::Describe;
        static_cast<void>(worker.placeCall(mayBeShort ? WorkerProcess::ShortCall : std::chrono::microseconds {}));
        std::stop_callback end(m_caller.stop, [&worker] { worker.program().kill(); });
        auto begin = Channel::Clock::now();
        auto frame = converse(talk, job, deadline);
        worker.callTook(Channel::Clock::now() - begin);
        return frame ? resultsIn(*frame, job) : frame.error();
    }

    /// Some results are asked for again, by another worker.
    void take(WorkerKind kind, const Places& places, std::vector<MediaResult> results, WorkerPool::Loan loan)
    {
        bool isWorn = loan.calls > 0 || places.size() > 1;
        Places forMedia;
        Places forNew;
        for (std::size_t i = 0; i < places.size(); ++i) {
            if (isProblem(results[i], MediaProblem::NeedsMedia) && kind == WorkerKind::Light)
                forMedia.push_back(places[i]);
            else if (isProblem(results[i], MediaProblem::NoMemory) && isWorn)
                forNew.push_back(places[i]);
            else
                m_outcomes[places[i]] = outcomeOf(std::move(results[i]));
        }
        // Each file is a call: what a worker that was taken over can see of a client is bounded.
        loan.calls += static_cast<int>(places.size()) - 1;
        if (forNew.empty())
            m_workers.m_pool.giveBack(std::move(loan));
        else
            loan.worker.reset();
        eachAlone(kind, forNew, true);
        runOn(WorkerKind::Media, forMedia);
    }

    void blame(std::size_t place, const WorkerDeath& death)
    {
        const OpenedFile& file = m_job.files[place];
        NSLog("the worker that had %s was lost: %s", file.path().c_str(), death.reason.c_str());
        bool isDeadline = death.blame == PoisonList::Death::Deadline;
        m_outcomes[place] = isDeadline ? MediaErrorKind::TimedOut : MediaErrorKind::Crashed;
        if (death.blame)
            (isDeadline ? m_workers.m_deadlines : m_workers.m_crashes)
                .remember(deedOf(file, static_cast<int>(m_job.operation)), *death.blame);
    }

    MediaWorkers& m_workers;
    const MediaJob m_job;
    const MediaCaller& m_caller;
    std::vector<Outcome> m_outcomes;
    std::vector<std::optional<Channel::Clock::time_point>> m_ends; ///< of those that are read alone
};

std::optional<MediaErrorKind> MediaWorkers::poisonOf(const FileDeed& deed) const
{
    if (m_crashes.isPoison(deed))
        return MediaErrorKind::Crashed;
    return m_deadlines.isPoison(deed) ? std::optional(MediaErrorKind::TimedOut) : std::nullopt;
}

std::vector<MediaWorkers::Outcome> MediaWorkers::run(MediaJob job, const MediaCaller& caller)
{
    job.debugLevel = currentDebugLevel();
    return Run(*this, std::move(job), caller).run();
}

} // namespace mv
