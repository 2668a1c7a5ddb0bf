#pragma once

#include "process/Channel.h"
#include "service/encoder/EncodingRun.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/isolated/PoisonList.h"
#include "service/isolated/ReplacementTalk.h"
#include "service/job/Messages.h"
#include "service/job/Requests.h"
#include "service/job/WritingJob.h"
#include "system/EditableFile.h"
#include "system/OutputPlace.h"

#include <cstdint>
#include <memory>
#include <optional>
#include <stop_token>

namespace mv {

/// What a writing job is about, as the caller has it. Which of them an operation needs its name says; the delegate of
/// a conversion or an export may be null.
struct WritingParts {
    EditableFile* file = nullptr; ///< of UpdateTag and SetTags
    OutputPlace* place = nullptr; ///< of all others
    EncodingListener* listener = nullptr; ///< of EncodeMp3
    MVMP4ExporterDelegate* delegate = nullptr;
    /// Of EncodeSound: once it is requested nothing is named any more, and the worker is ended.
    std::stop_token stop {};
};

/// Stands between one writing job in a worker and what it works on. The worker asks for steps, and each is done here
/// with the real objects, as far as an honest job of the kind could ask for it at that moment: nothing that a worker
/// says makes a step happen that the operation does not have, on another file than the call's, or twice.
///
/// All on the job's thread: delegates are called there, while the worker waits.
class WritingBroker {
public:
    /// `job` as it goes to the worker; its `output` and `hasDelegate` are filled in here. `awaitFrame` is as patient as
    /// the planning and checking of a tag may take. All references outlive this.
    WritingBroker(Channel& channel, WritingJob job, WritingParts parts, AwaitFrame awaitFrame);
    ~WritingBroker();
    WritingBroker(const WritingBroker&) = delete;
    WritingBroker& operator=(const WritingBroker&) = delete;

    /// The longest file that the worker may write for the job; 0 for one that has nothing to write.
    std::uint64_t fileBytes() const;
    /// Sends the job.
    Result<void> start();
    /// Does what a message of the worker asks for. The answer, once it came; nothing as long as the job goes on. An
    /// error is final: what arrived was no message of an honest worker, the worker is gone, or what the caller's
    /// awaitFrame said. Whatever a delegate throws comes through, and is final, too.
    Result<std::optional<WritingAnswer>> serve(const Frame& frame);

    /// Whether the worker has asked for more than answers: from then on the job cannot be begun again by another.
    bool hasServed() const { return m_hasServed; }
    /// Grows or changes as long as what is made does. For who watches whether a job that sends nothing still works.
    struct Trace {
        std::int64_t size = 0;
        std::int64_t modified = 0; ///< nanoseconds
        bool operator==(const Trace&) const = default;
    };
    Trace trace() const;

    /// What came of the replacement of the file, once there was one.
    const std::optional<Result<FileReplacement::Outcome>>& replacement() const { return m_replacement; }

    /// What the call gives whose worker is gone, whatever it was doing; to be asked once, after the last serve(). Tells
    /// an encoder's listener what it has not heard yet, and leaves of the output what a failed job leaves.
    /// `how` it ended, where that is known.
    WritingAnswer answerOfDeath(std::optional<PoisonList::Death> how = {});

private:
    struct Row;
    enum class Made { Nothing, Created, Committed };
    static const Row* rowOf(RequestKind kind);

    Result<void> serveRequest(ByteView payload);
    Result<std::optional<WritingAnswer>> takeAnswer(ByteView payload);
    Result<WritingAnswer> checkedAnswer(WritingAnswer answer) const;

    Result<void> isWritable(const Request& request);
    Result<void> replace(const Request& request);
    Result<void> outputAttributes(const Request& request);
    Result<void> canHoldOutput(const Request& request);
    Result<void> clearOutput(const Request& request);
    Result<void> createOutput(const Request& request);
    Result<void> commitOutput(const Request& request);
    Result<void> nameOutput(OutputFile& output) const;
    Result<void> openOutputInPlace(const Request& request);
    Result<void> editOutput(const Request& request);
    Result<void> started(const Request& request);
    Result<void> shouldStop(const Request& request);
    Result<void> progress(const Request& request);
    Result<void> failed(const Request& request);
    Result<void> ended(const Request& request);
    Result<void> shouldGoOn(const Request& request);

    Result<void> send(Message kind, ByteView payload, int descriptor = -1);
    Result<void> reply(const Record& record, int descriptor = -1);

    Channel& m_channel;
    WritingJob m_job;
    const WritingParts m_parts;
    const AwaitFrame m_awaitFrame;

    bool m_hasServed = false;
    std::optional<WritingAnswer> m_answer;
    std::optional<Result<FileReplacement::Outcome>> m_replacement;
    bool m_isBroken = false; // in the middle of a replacement

    EditableFile* m_file; // that IsWritable and Replace speak of; null when it was replaced
    std::unique_ptr<EditableFile> m_edited;
    int m_questions = 0; // about files
    bool m_isCleared = false;

    Made m_made = Made::Nothing;
    std::unique_ptr<OutputFile> m_output; // while it is being made
    // What the worker writes into, to be watched. Closed before a listener hears of the end: who reads a pipe at the
    // other side waits for that.
    UniqueFd m_written;

    bool m_hasStarted = false;
    bool m_isStopped = false;
    bool m_isTold = false; // that it failed or ended
    bool m_hasFailed = false;
    float m_percent = -1;
};

} // namespace mv
