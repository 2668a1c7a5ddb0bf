#include "service/isolated/WorkerHost.h"

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"
#include "Base/Core/Text.h"
#include "service/isolated/HostColumns.h"
#include "service/job/AnswerCheck.h"

namespace mv {

namespace {

FileDeed deedOf(const OpenedFile& file, int operation)
{
    if (!file.exists())
        return {};
    return { file.attributes()->identity, file.attributes()->size, file.attributes()->modificationDate, operation };
}

/// Which worker is asked first. Hardly a movie can be described without FFmpeg; what else turns out to need it is asked
/// again.
WorkerKind firstKind(ReadingOperation operation)
{
    return operation == ReadingOperation::DescribeMovie ? WorkerKind::Media : WorkerKind::Light;
}

bool isDescription(ReadingOperation operation) { return operation <= ReadingOperation::DescribePicture; }

[[noreturn]] void raise(const RaisedException& raised)
{
    if (raised.name.empty())
        throw std::runtime_error(raised.reason);
    throw NSException(raised.name, raised.reason);
}

/// What the worker sends when it is done with the job.
Result<Frame> converse(JobTalk& talk, const ReadingJob& job)
{
    Channel::Clock::time_point end = Channel::Clock::now() + WorkerHost::ReadingPatience;
    const int content[] = { job.file.descriptor() };
    std::span<const int> descriptors(content, content[0] >= 0 ? 1 : 0);
    MV_TRY_VOID(talk.send(Message::ReadingJob, encodeJob(job), descriptors, end));
    return talk.awaitFrame(end);
}

Result<ReadingAnswer> answerIn(const Frame& frame, const ReadingJob& job)
{
    if (frame.kind != static_cast<std::uint8_t>(Message::Answer))
        return Error { Error::Kind::Format, "a message of another kind" };
    auto answer = decodeAnswer(job.operation, frame.payload);
    if (answer)
        MV_TRY_VOID(checkAnswer(job.operation, *answer));
    return answer;
}

} // namespace

std::optional<ReadingAnswer> WorkerHost::read(ReadingJob job)
{
    job.debugLevel = currentDebugLevel();
    const FileDeed deed = deedOf(job.file, static_cast<int>(job.operation));
    if (m_poison.isPoison(deed)) {
        NSLog("%s is not read: it ended a worker a short while ago", job.file.path().c_str());
        return std::nullopt;
    }
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
    Outcome outcome = readOn(firstKind(job.operation), job);
    if (std::holds_alternative<NeedsMedia>(outcome))
        outcome = readOn(WorkerKind::Media, job);
    if (auto* answer = std::get_if<ReadingAnswer>(&outcome))
        return std::move(*answer);
    auto* death = std::get_if<WorkerDeath>(&outcome);
    NSLog("the worker that read %s was lost: %s", job.file.path().c_str(),
        death ? death->reason.c_str() : "it asked for what it has");
    if (death && death->blame && job.file.exists())
        m_poison.remember(deed, *death->blame);
    return std::nullopt;
}

WorkerHost::Outcome WorkerHost::readOn(WorkerKind kind, const ReadingJob& job)
{
    auto loan = m_pool.forReading(kind, m_caller ? m_caller() : std::string());
    if (!loan)
        throw WorkersUnavailable("nothing can be read, as no worker can be had: " + loan.error().text);
    // One that has ended already cannot be limited either; the conversation finds out.
    static_cast<void>(loan->worker->program().limitCpuTime(ReadingProcessorTime));
    JobTalk talk(*loan->worker);
    auto frame = converse(talk, job);
    if (frame && frame->kind == static_cast<std::uint8_t>(Message::NeedsMedia)) {
        // Whoever does the job says it all again.
        m_pool.giveBack(std::move(*loan));
        return NeedsMedia {};
    }
    talk.writeLog();
    if (frame && frame->kind == static_cast<std::uint8_t>(Message::TooLarge)) {
        m_pool.giveBack(std::move(*loan));
        throw std::length_error("the answer is larger than 32 MiB");
    }
    auto answer = frame ? answerIn(*frame, job) : Result<ReadingAnswer>(frame.error());
    if (!answer)
        return talk.endOf(answer.error());
    m_pool.giveBack(std::move(*loan));
    return std::move(*answer);
}

} // namespace mv
