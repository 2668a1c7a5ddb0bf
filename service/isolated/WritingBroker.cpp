#include "service/isolated/WritingBroker.h"

#include "Base/Core/OSStatus.h"
#include "Base/Core/Text.h"
#include "service/include/MVAudioEncoderBase.h"
#include "service/include/MediaErrors.h"
#include "service/job/FileCode.h"
#include "service/job/RecordCode.h"
#include "system/FileContent.h"

#include <algorithm>
#include <array>
#include <fcntl.h>
#include <sys/stat.h>

namespace mv {

namespace {

// An honest job asks three or four times what there is before it makes a file.
constexpr int MaxQuestions = 16;
// The worker waits for every message; one that does not take it is not honest any more.
constexpr std::chrono::seconds SendPatience { 20 };
// What is made is hardly longer than what it is made of, but for poor sound that becomes better: a bound for who would
// fill the disk, far above what anybody makes.
constexpr std::uint64_t LeastFileBytes = std::uint64_t { 64 } << 30;
constexpr std::uint64_t FileBytesForByte = 4;

using Operation = WritingOperation;

constexpr unsigned bitOf(Operation operation) { return 1u << static_cast<unsigned>(operation); }

constexpr unsigned Tag = bitOf(Operation::UpdateTag) | bitOf(Operation::SetTags);
constexpr unsigned Mp3 = bitOf(Operation::EncodeMp3);
constexpr unsigned Aac = bitOf(Operation::ConvertToAac);
constexpr unsigned Export = bitOf(Operation::ExportMovie);
constexpr unsigned Sound = bitOf(Operation::EncodeSound);

bool isErrorCode(std::int32_t code)
{
    static constexpr std::array Codes { MVAudioEncoderErrorInput, MVAudioEncoderErrorParameters,
        MVAudioEncoderErrorOutput, MVAudioEncoderErrorTagSize, MVAudioEncoderErrorWrite, MVAudioEncoderErrorEncoder,
        MVAudioEncoderErrorBuffer };
    return std::find(Codes.begin(), Codes.end(), code) != Codes.end();
}

/// Those that an encoding reads. Others that a client has set stay here, and so do the paths of earlier jobs.
Record knownAttributes(const Record& attributes)
{
    static constexpr std::array Keys { MVAudioEncoderSamplingRateAttribute, MVAudioEncoderBitrateAttribute,
        MVAudioEncoderVBRAttribute, MVMP3EncoderStereoModeAttribte, MVMP3EncoderQualityAttribute,
        MVAudioEncoderExactConversionAttribute };
    Record known;
    for (std::string_view key : Keys) {
        if (const Value* value = attributes.find(key))
            known.set(key, *value);
    }
    return known;
}

} // namespace

/// What may be asked for, and by which operations; what has a turn is checked where it is done.
struct WritingBroker::Row {
    RequestKind kind;
    unsigned operations;
    Result<void> (WritingBroker::*serve)(const Request&);
};

const WritingBroker::Row* WritingBroker::rowOf(RequestKind kind)
{
    static constexpr std::array<Row, static_cast<std::size_t>(LastRequestKind)> Rows { {
        { RequestKind::IsWritable, Tag | Aac, &WritingBroker::isWritable },
        { RequestKind::Replace, Tag | Aac, &WritingBroker::replace },
        { RequestKind::OutputAttributes, Mp3 | Aac | Export | Sound, &WritingBroker::outputAttributes },
        { RequestKind::CanHoldOutput, Export, &WritingBroker::canHoldOutput },
        { RequestKind::ClearOutput, Mp3 | Export, &WritingBroker::clearOutput },
        { RequestKind::CreateOutput, Aac | Export | Sound, &WritingBroker::createOutput },
        { RequestKind::CommitOutput, Aac | Export | Sound, &WritingBroker::commitOutput },
        { RequestKind::OpenOutputInPlace, Mp3, &WritingBroker::openOutputInPlace },
        { RequestKind::EditOutput, Aac, &WritingBroker::editOutput },
        { RequestKind::Started, Mp3, &WritingBroker::started },
        { RequestKind::ShouldStop, Mp3, &WritingBroker::shouldStop },
        { RequestKind::Progress, Mp3, &WritingBroker::progress },
        { RequestKind::Failed, Mp3, &WritingBroker::failed },
        { RequestKind::Ended, Mp3, &WritingBroker::ended },
        { RequestKind::ShouldGoOn, Aac | Export | Sound, &WritingBroker::shouldGoOn },
    } };
    const auto* row = std::find_if(Rows.begin(), Rows.end(), [&](const Row& one) { return one.kind == kind; });
    return row == Rows.end() ? nullptr : row;
}

WritingBroker::WritingBroker(Channel& channel, WritingJob job, WritingParts parts, AwaitFrame awaitFrame)
    : m_channel(channel)
    , m_job(std::move(job))
    , m_parts(parts)
    , m_awaitFrame(std::move(awaitFrame))
    , m_file(parts.file)
{
    if (m_parts.place)
        m_job.output = m_parts.place->path();
    m_job.hasDelegate = m_parts.delegate != nullptr;
    if (m_job.operation == Operation::EncodeMp3)
        m_job.record = knownAttributes(m_job.record);
}

WritingBroker::~WritingBroker() = default;

std::uint64_t WritingBroker::fileBytes() const
{
    if (changesItsFile(m_job.operation))
        return 0;
    std::int64_t input = m_job.file.attributes() ? m_job.file.attributes()->size : 0;
    return LeastFileBytes + FileBytesForByte * static_cast<std::uint64_t>(std::max<std::int64_t>(input, 0));
}

Result<void> WritingBroker::start()
{
    int descriptor = m_job.file.descriptor();
    if (m_job.file.content() && descriptor < 0)
        return Error { Error::Kind::Unsupported, "its input is no file" };
    MV_TRY_VOID(send(Message::WritingJob, encodeWritingJob(m_job), descriptor));
    m_job.record = {};
    // A replacement closes the content by a thread of its own where nobody else holds it.
    if (changesItsFile(m_job.operation))
        m_job.file = OpenedFile(m_job.file.path(), m_job.file.attributes(), Error { Error::Kind::State, "was sent" });
    return {};
}

Result<std::optional<WritingAnswer>> WritingBroker::serve(const Frame& frame)
{
    if (m_answer || m_isBroken)
        return outOfTurn("a message behind its answer");
    if (frame.kind == kindOf(Message::Answer))
        return takeAnswer(frame.payload);
    if (frame.kind != kindOf(Message::Request))
        return outOfTurn("a message");
    MV_TRY_VOID(serveRequest(frame.payload));
    return m_answer;
}

Result<void> WritingBroker::serveRequest(ByteView payload)
{
    MV_TRY(request, decodeRequest(payload));
    const Row* row = rowOf(request.kind);
    if (!row || !(row->operations & bitOf(m_job.operation)))
        return outOfTurn("a request of another job");
    m_hasServed = m_hasServed || !isQuestion(request.kind);
    return (this->*row->serve)(request);
}

Result<std::optional<WritingAnswer>> WritingBroker::takeAnswer(ByteView payload)
{
    MV_TRY(answer, decodeWritingAnswer(m_job.operation, payload));
    MV_TRY(checked, checkedAnswer(std::move(answer)));
    m_answer = std::move(checked);
    return m_answer;
}

/// What a job says of itself at the end fits what it has done.
Result<WritingAnswer> WritingBroker::checkedAnswer(WritingAnswer answer) const
{
    if (const bool* isWell = std::get_if<bool>(&answer); isWell && m_job.operation == Operation::EncodeMp3) {
        bool isPossible = *isWell ? m_isStopped || (m_isTold && !m_hasFailed) : m_hasFailed;
        if (!isPossible)
            return outOfTurn("an answer");
    }
    const auto* status = std::get_if<std::int32_t>(&answer);
    const bool isSound = m_job.operation == Operation::EncodeSound;
    const bool isNamed = m_job.operation == Operation::ConvertToAac || isSound;
    if (status && *status == noErr && isNamed && m_made != Made::Committed)
        return outOfTurn("an answer");
    if (status && isSound && (*status < 0 || *status > static_cast<std::int32_t>(LastMediaErrorKind)))
        return outOfTurn("an error");
    return answer;
}

Result<void> WritingBroker::send(Message kind, ByteView payload, int descriptor)
{
    auto descriptors = descriptor < 0 ? std::span<const int>() : std::span(&descriptor, 1);
    return m_channel.send(kindOf(kind), payload, descriptors, Channel::Clock::now() + SendPatience);
}

Result<void> WritingBroker::reply(const Record& record, int descriptor)
{
    Bytes bytes;
    encodeRecordOfHost(record, bytes);
    return send(Message::Reply, bytes, descriptor);
}

Result<void> WritingBroker::isWritable(const Request&)
{
    if (!m_file || ++m_questions > MaxQuestions)
        return outOfTurn("a question about a file");
    return reply(replyOfDone(m_file->writable()));
}

/// The replacement is done whole in there; the worker says what is to be in the file, and looks at it.
Result<void> WritingBroker::replace(const Request&)
{
    if (!m_file)
        return outOfTurn("a replacement");
    EditableFile& file = *std::exchange(m_file, nullptr);
    auto sendFile = [this](Message kind, ByteView payload, int descriptor) { return send(kind, payload, descriptor); };
    ReplacementTalk talk(m_job.operation, sendFile, m_awaitFrame);
    auto outcome = talk.replace(file);
    if (talk.broken()) {
        m_isBroken = true;
        return *talk.broken();
    }
    m_answer = talk.answer();
    m_replacement = outcome;
    return m_answer ? Result<void> {} : reply(replyOfOutcome(outcome));
}

Result<void> WritingBroker::outputAttributes(const Request&)
{
    if (++m_questions > MaxQuestions)
        return outOfTurn("a question about the output");
    Record record;
    setAttributes(record, m_parts.place->attributes());
    return reply(record);
}

Result<void> WritingBroker::canHoldOutput(const Request&)
{
    if (++m_questions > MaxQuestions)
        return outOfTurn("a question about the output");
    return reply(replyOfFlag(m_parts.place->canHoldFile()));
}

/// An export makes room before it makes its file; an encoding that was cancelled takes away what it has written.
Result<void> WritingBroker::clearOutput(const Request&)
{
    bool hasTurn = m_job.operation == Operation::EncodeMp3 ? m_isStopped : m_made == Made::Nothing;
    if (!hasTurn || std::exchange(m_isCleared, true))
        return outOfTurn("the clearing of the output");
    return reply(replyOfDone(m_parts.place->clear()));
}

Result<void> WritingBroker::createOutput(const Request&)
{
    if (m_made != Made::Nothing)
        return outOfTurn("the making of a file");
    m_made = Made::Created;
    auto created = m_parts.place->create();
    if (!created)
        return reply(replyOfDone(created.error()));
    m_output = std::move(*created);
    m_written.reset(fcntl(m_output->fd(), F_DUPFD_CLOEXEC, 0));
    return reply({}, m_output->fd());
}

Result<void> WritingBroker::commitOutput(const Request&)
{
    if (!m_output)
        return outOfTurn("the naming of a file");
    auto output = std::move(m_output);
    auto done = nameOutput(*output);
    if (done)
        m_made = Made::Committed;
    return reply(replyOfDone(done));
}

Result<void> WritingBroker::nameOutput(OutputFile& output) const
{
    if (m_job.operation == Operation::EncodeSound) {
        // It may take the place of an older one, which is whole: a name that leads to bytes that have not come to the
        // disk is worth less.
        MV_TRY_VOID(syncToDisk(output.fd(), "the new file"));
        if (m_parts.stop.stop_requested())
            return Error { Error::Kind::Cancelled, "cancelled" };
    }
    return output.commit();
}

Result<void> WritingBroker::openOutputInPlace(const Request&)
{
    if (m_made != Made::Nothing)
        return outOfTurn("the opening of the output");
    m_made = Made::Created;
    m_written = m_parts.place->openDescriptorInPlace(m_job.file);
    return reply(replyOfFlag(bool(m_written)), m_written.get());
}

Result<void> WritingBroker::editOutput(const Request&)
{
    if (m_made != Made::Committed || m_edited)
        return outOfTurn("a change of the output");
    m_edited = m_parts.place->edit();
    m_file = m_edited.get();
    Record record;
    setFile(record, m_edited->opened());
    return reply(record, m_edited->opened().descriptor());
}

Result<void> WritingBroker::started(const Request&)
{
    if (m_hasStarted || m_isTold || !m_written)
        return outOfTurn("a start");
    m_hasStarted = true;
    m_parts.listener->started();
    return reply({});
}

Result<void> WritingBroker::shouldStop(const Request&)
{
    if (!m_hasStarted || m_isTold || m_isStopped)
        return outOfTurn("a question whether to stop");
    m_isStopped = m_parts.listener->shouldStop();
    return reply(replyOfFlag(m_isStopped));
}

/// Above 100, and infinite, for a file that holds more than it announces.
Result<void> WritingBroker::progress(const Request& request)
{
    if (!m_hasStarted || m_isTold || m_isStopped || !(request.percent > m_percent))
        return outOfTurn("progress");
    m_percent = request.percent;
    m_parts.listener->progress(request.percent);
    return reply({});
}

Result<void> WritingBroker::failed(const Request& request)
{
    if (m_isTold || m_isStopped || !isErrorCode(request.number))
        return outOfTurn("a failure");
    m_isTold = true;
    m_hasFailed = true;
    m_written.reset();
    m_parts.listener->failed(request.number);
    return reply({});
}

Result<void> WritingBroker::ended(const Request&)
{
    if (!m_hasStarted || m_isTold || m_isStopped)
        return outOfTurn("an end");
    m_isTold = true;
    m_written.reset();
    m_parts.listener->ended();
    return reply({});
}

Result<void> WritingBroker::shouldGoOn(const Request& request)
{
    if (!m_parts.delegate || m_isStopped || request.number < 0 || request.number > 100)
        return outOfTurn("progress");
    m_isStopped = !m_parts.delegate->MP4ExporterProgress(request.number);
    return reply(replyOfFlag(!m_isStopped));
}

WritingBroker::Trace WritingBroker::trace() const
{
    struct stat facts { };
    if (!m_written || fstat(m_written.get(), &facts) != 0)
        return {};
    return { facts.st_size, std::int64_t { facts.st_mtim.tv_sec } * 1'000'000'000 + facts.st_mtim.tv_nsec };
}

WritingAnswer WritingBroker::answerOfDeath(std::optional<PoisonList::Death> how)
{
    m_output.reset();
    m_written.reset();
    switch (m_job.operation) {
    case Operation::UpdateTag:
    case Operation::SetTags:
        return m_job.file.exists();
    case Operation::EncodeMp3:
        if (m_isStopped && !m_isCleared)
            (void)m_parts.place->clear(); // what cannot be removed stays
        else if (!m_isTold && !m_isStopped)
            m_parts.listener->failed(MVAudioEncoderErrorEncoder);
        return m_isStopped || (m_isTold && !m_hasFailed);
    case Operation::ConvertToAac:
    case Operation::ExportMovie:
        return std::int32_t { ioErr };
    case Operation::EncodeSound: {
        // What has its name is whole.
        auto kind = how == PoisonList::Death::Deadline ? MediaErrorKind::TimedOut : MediaErrorKind::Crashed;
        return m_made == Made::Committed ? std::int32_t { noErr } : static_cast<std::int32_t>(kind);
    }
    }
    return false;
}

} // namespace mv
