#pragma once

#include <cstddef>
#include <cstdint>
#include <string_view>

namespace mv {

/// The kinds of messages between the host and a worker, as the kind of their frames.
enum class Message : std::uint8_t {
    // From the host.
    ReadingJob = 1, ///< a job as of encodeJob, with the file's descriptor where it has content
    WritingJob = 2, ///< the same as of encodeWritingJob
    Reply = 3, ///< to a request: a record, and a descriptor where one was asked for and to be had
    Plan = 4, ///< what is the new content of the file with this descriptor and size? Answered by Content
    Check = 5, ///< is the file with this descriptor and size as the plan meant it? Answered by Verdict
    MediaJob = 6, ///< a job as of encodeMediaJob, with the descriptors of its files; answered as of encodeMediaResults

    // From the worker.
    Ready = 64, ///< closed, and waiting for a job; a record of the two keys below
    Log, ///< a line of the log, without its prefix
    Answer, ///< as of encodeAnswer, encodeWritingAnswer or encodeMediaResults; the job is over
    TooLarge, ///< the job is over, and its answer is larger than a message
    NeedsMedia, ///< the job needs libraries that a light worker does not have; the job is over, and nothing was done
    NotClosed, ///< in place of Ready: why there will be no worker, as text
    Working, ///< a writing job goes on, though nothing is to be seen of it
    Request = 80, ///< of a writing job, as of encodeRequest; answered by Reply
    Content = 81, ///< a part of a plan, as of encodePlan
    Verdict = 82, ///< as of encodeVerdict
};

/// The longest payload that a worker may send: a picture as large as the bus carries one, 32 MiB, and what is around
/// it. What a client says may be longer, and goes to the worker.
inline constexpr std::size_t MaxWorkerMessageBytes = std::size_t { 33 } << 20;

/// A message's kind as its frame has it.
constexpr std::uint8_t kindOf(Message message) { return static_cast<std::uint8_t>(message); }

// Of Ready: which version speaks, and a sentence for the log where a lock is missing.
inline constexpr std::string_view ReadyVersion = "version";
inline constexpr std::string_view ReadyMissing = "missing";

} // namespace mv
