#pragma once

#include <cstdint>

namespace mv {

/// The kinds of messages between the host and a worker, as the kind of their frames.
enum class Message : std::uint8_t {
    // From the host.
    ReadingJob = 1, ///< a job as of encodeJob, with the file's descriptor where it has content
    WritingJob = 2, ///< the same as of encodeWritingJob
    Reply = 3, ///< to a request: a record, and a descriptor where one was asked for and to be had
    Plan = 4, ///< what is the new content of the file whose descriptor this is? Answered by Content
    Check = 5, ///< is the file whose descriptor this is as the plan meant it? Answered by Verdict

    // From the worker.
    Ready = 64, ///< closed, and waiting for a job; the payload is a sentence for the log, or empty
    Log, ///< a line of the log, without its prefix
    Answer, ///< as of encodeAnswer or encodeWritingAnswer; the job is over
    Request = 80, ///< of a writing job, as of encodeRequest; answered by Reply
    Content = 81, ///< a part of a plan, as of encodePlan
    Verdict = 82, ///< as of encodeVerdict
};

} // namespace mv
