#include "service/isolated/WorkerHost.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "service/isolated/HostColumns.h"
#include "service/isolated/WritingTalk.h"
#include "service/job/AnswerCheck.h"

#include <utility>

namespace mv {

namespace {

// Numbers of writing operations among all; those of reading ones lie below.
constexpr int FirstWritingDeed = 64;

// A long recording may take hours.
constexpr std::chrono::hours AnyProcessorTime { 24 * 365 };

/// Which worker is asked first. Hardly a movie can be described without FFmpeg; what else turns out to need it is asked
/// again.
WorkerKind firstKind(ReadingOperation operation)
{
    return operation == ReadingOperation::DescribeMovie ? WorkerKind::Media : WorkerKind::Light;
}

/// Of a tag only a cover of HEIC or AVIF takes more than a light worker has. The input of an MP3 shows whether it takes
/// FFmpeg to decode it, before anything is made.
WorkerKind firstKind(const WritingJob& job)
{
    bool makesMp3 = job.operation == WritingOperation::EncodeMp3
        || (job.operation == WritingOperation::EncodeSound && job.encoding.format == SoundFormat::Mp3);
    return makesMp3 || job.operation == WritingOperation::UpdateTag ? WorkerKind::Light : WorkerKind::Media;
}

/// What a call took whose next one is as brief: tags and headers are read in microseconds, the cover among them in a
/// millisecond; pictures and movies are worth a processor of their own.
std::chrono::microseconds briefCall(ReadingOperation operation)
{
    switch (operation) {
    case ReadingOperation::DescribeMp3:
    case ReadingOperation::DescribeMp4:
    case ReadingOperation::DescribeAudio:
    case ReadingOperation::Exif:
    case ReadingOperation::PodcastInfo:
        return WorkerProcess::CoverCall;
    default:
        return {};
    }
}

bool isDescription(ReadingOperation operation) { return operation <= ReadingOperation::DescribePicture; }

[[noreturn]] void raise(const RaisedException& raised)
{
    if (raised.name.empty())
        throw std::runtime_error(raised.reason);
    throw NSException(raised.name, raised.reason);
}

WorkersUnavailable unavailable(const Error& error)
{
    return WorkersUnavailable("nothing can be read, as no worker can be had: " + error.text);
}

/// What the worker sends when it is done with the job.
Result<Frame> converse(JobTalk& talk, const ReadingJob& job, Channel::Clock::time_point end)
{
    const int content[] = { job.file.descriptor() };
    std::span<const int> descriptors(content, content[0] >= 0 ? 1 : 0);
    MV_TRY_VOID(talk.send(Message::ReadingJob, encodeJob(job), descriptors, end));
    return talk.awaitFrame(end);
}

/// As long as the worker says something, or what it makes changes.
AwaitFrame whileItWorks(JobTalk& talk, const WritingBroker& broker)
{
    return [&talk, &broker] {
        auto last = broker.trace();
        return talk.awaitFrame(WorkerHost::WritingPatience, [&] {
            auto before = std::exchange(last, broker.trace());
            return last != before;
        });
    };
}

/// An exception of no family, want of memory above all: what an earlier file has left of the worker may be the reason.
bool isPlainFailure(const ReadingAnswer& answer)
{
    const auto* raised = std::get_if<RaisedException>(&answer);
    return raised && raised->name.empty();
}

Result<ReadingAnswer> answerIn(const Frame& frame, const ReadingJob& job)
{
    if (frame.kind != kindOf(Message::Answer))
        return Error { Error::Kind::Format, "a message of another kind" };
    auto answer = decodeAnswer(job.operation, frame.payload);
    if (answer)
        MV_TRY_VOID(checkAnswer(job.operation, *answer));
    return answer;
}

Error asksForWhatItHas() { return { Error::Kind::Format, "a wish for what it has" }; }

} // namespace

std::optional<ReadingAnswer> WorkerHost::read(ReadingJob job)
{
    job.debugLevel = currentDebugLevel();
    const FileDeed deed = deedOf(job.file, static_cast<int>(job.operation));
    if (isPoison(deed, job.file.path()))
        return std::nullopt;
    auto answer = readNew(job, deed);
    if (!answer)
        return std::nullopt;
    if (const auto* raised = std::get_if<RaisedException>(&*answer))
        raise(*raised);
    if (auto* record = std::get_if<std::optional<Record>>(&*answer); record && *record && isDescription(job.operation))
        setHostColumns(**record, job);
    return answer;
}

std::optional<ReadingAnswer> WorkerHost::readNew(const ReadingJob& job, const FileDeed& deed)
{
    // However many workers it takes.
    const auto end = Channel::Clock::now() + ReadingPatience;
    Outcome outcome = readOn(firstKind(job.operation), job, end);
    if (std::holds_alternative<NeedsMedia>(outcome))
        outcome = readOn(WorkerKind::Media, job, end);
    if (auto* answer = std::get_if<ReadingAnswer>(&outcome))
        return std::move(*answer);
    const auto* death = std::get_if<WorkerDeath>(&outcome);
    remember(
        deed, job.file.path(), death ? *death : WorkerDeath { "it asked for what it has", PoisonList::Death::Crash });
    return std::nullopt;
}

WorkerHost::Outcome WorkerHost::readOn(
    WorkerKind kind, const ReadingJob& job, Channel::Clock::time_point end, bool byNewWorker)
{
    const std::string client = m_caller ? m_caller() : std::string();
    auto loan = byNewWorker ? m_pool.fresh(kind) : m_pool.forReading(kind, client);
    if (!loan)
        throw unavailable(loan.error());
    loan->client = client;
    loan->worker->allowProcessorTime(ReadingProcessorTime);
    auto staying = loan->worker->placeCall(briefCall(job.operation));
    JobTalk talk(*loan->worker);
    Channel::Clock::time_point begin = Channel::Clock::now();
    auto frame = converse(talk, job, end);
    loan->worker->callTook(Channel::Clock::now() - begin);
    staying.reset();
    if (frame && frame->kind == kindOf(Message::NeedsMedia)) {
        // Whoever does the job says it all again.
        m_pool.giveBack(std::move(*loan));
        return NeedsMedia {};
    }
    if (frame && frame->kind == kindOf(Message::TooLarge)) {
        talk.writeLog();
        m_pool.giveBack(std::move(*loan));
        throw std::length_error("the answer is larger than a message");
    }
    auto answer = frame ? answerIn(*frame, job) : Result<ReadingAnswer>(frame.error());
    if (answer && !isPlainFailure(*answer)) {
        talk.writeLog();
        m_pool.giveBack(std::move(*loan));
        return std::move(*answer);
    }
    auto death = answer ? std::nullopt : std::optional(talk.endOf(answer.error()));
    if (loan->calls > 0 && (!death || death->blame == PoisonList::Death::Crash)) {
        // What a worker that has read other files does to this one may be their doing.
        loan->worker.reset();
        return readOn(kind, job, end, true);
    }
    talk.writeLog();
    if (death)
        return std::move(*death);
    return std::move(*answer);
}

bool WorkerHost::isPoison(const FileDeed& deed, const Path& path) const
{
    if (!m_poison.isPoison(deed))
        return false;
    NSLogAt(LogPriority::Warning, "%s is left alone: it ended a worker a short while ago", path.c_str());
    return true;
}

void WorkerHost::remember(const FileDeed& deed, const Path& path, const WorkerDeath& death)
{
    NSLogAt(LogPriority::Warning, "the worker that had %s was lost: %s", path.c_str(), death.reason.c_str());
    if (death.blame && deed != FileDeed {})
        m_poison.remember(deed, *death.blame);
}

WritingAnswer WorkerHost::write(WritingJob job, const WritingParts& parts)
{
    job.debugLevel = currentDebugLevel();
    const FileDeed deed = deedOf(job.file, FirstWritingDeed + static_cast<int>(job.operation));
    if (isPoison(deed, job.file.path())) {
        Channel nobody { UniqueFd() };
        return WritingBroker(nobody, std::move(job), parts, {}).answerOfDeath();
    }
    // However many workers it takes.
    WaitBudget budget(ReadingPatience);
    auto answer = writeOn(firstKind(job), job, parts, deed, budget);
    if (!answer)
        answer = writeOn(WorkerKind::Media, std::move(job), parts, deed, budget);
    if (const auto* raised = std::get_if<RaisedException>(&*answer))
        raise(*raised);
    return *answer;
}

/// Nothing where the job needs another kind of worker, which a light one may say.
std::optional<WritingAnswer> WorkerHost::writeOn(
    WorkerKind kind, WritingJob job, const WritingParts& parts, const FileDeed& deed, WaitBudget& budget)
{
    auto loan = m_pool.fresh(kind);
    if (!loan)
        throw unavailable(loan.error());
    const Path path = job.file.path();
    const bool isTag = job.operation == WritingOperation::UpdateTag;
    JobTalk talk(*loan->worker);
    const AwaitFrame soon = within(budget, talk);
    WritingBroker broker(loan->worker->channel(), std::move(job), parts, soon);
    loan->worker->allowProcessorTime(isTag ? ReadingProcessorTime : AnyProcessorTime);
    static_cast<void>(loan->worker->program().limitFileBytes(broker.fileBytes()));
    auto answer = [&] {
        std::stop_callback end(parts.stop, [&loan] { loan->worker->program().kill(); });
        return serveToTheEnd(talk, broker, isTag ? soon : whileItWorks(talk, broker));
    }();
    if (answer && !*answer && kind == WorkerKind::Light)
        return std::nullopt;
    talk.writeLog();
    if (answer && *answer)
        return std::move(**answer);
    const WorkerDeath death = talk.endOf(answer ? asksForWhatItHas() : answer.error());
    if (!parts.stop.stop_requested())
        remember(deed, path, death);
    return broker.answerOfDeath(death.blame);
}

} // namespace mv
