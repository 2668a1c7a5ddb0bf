#pragma once

#include <cstdint>

namespace mv {

/// The kinds of messages between the host and a worker, as the kind of their frames.
enum class Message : std::uint8_t {
    // From the host.
    ReadingJob = 1, ///< a job as of encodeJob, with the file's descriptor where it has content

    // From the worker.
    Ready = 64, ///< closed, and waiting for a job; the payload is a sentence for the log, or empty
    Log, ///< a line of the log, without its prefix
    Answer, ///< as of encodeAnswer; the job is over
};

} // namespace mv
