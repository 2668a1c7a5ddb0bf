#pragma once

#include "service/encoder/EncodingRun.h"
#include "service/encoder/MVAudioEncoder.h"

#include <atomic>
#include <memory>
#include <thread>
#include <vector>

namespace mv {

/// Encodes every audio file that the platform opens to MP3. Reusable; attributes persist between jobs. A delegate's
/// messages come from the thread that called encodeFileOutputFile, or from the thread of the job.
class MP3Encoder final : public MVAudioEncoder {
public:
    /// Called where a job on a thread is asked for; what it gives is kept until the thread has done the job.
    using JobHold = std::function<std::shared_ptr<void>()>;

    /// Jobs are done by that run.
    explicit MP3Encoder(EncodingRun run, JobHold jobHold = {});
    /// Jobs that still run on threads end within a block as if their delegates had cancelled them; waits for that.
    ~MP3Encoder() override;

    /// Values of a kind that attributes do not have are ignored; the present ones stay.
    void setAttributes(const Record& attributes) override;

    /// True when no error occurred (success or cancellation). Nil paths raise NSInternalInconsistencyException. An
    /// output that is the input under any name cannot be opened for writing and stays as it is; a cancelled job removes
    /// its output, a failed one leaves what was written.
    bool encodeFileOutputFile(const OpenedFile& input, const SharedPlace& output) override;

    /// Puts the files down and starts a thread, which takes them up: two jobs started back to back on one encoder may
    /// both see the second pair. Deliberate; whoever wants both jobs waits for the first one's encoderDidStart.
    void encodeOnThreadFileOutputFile(const OpenedFile& input, const SharedPlace& output) override;

    /// Puts the files where the next encodeThread() takes them up, and their paths into the attributes ("_InputFile",
    /// "_OutputFile", where they stay). A nil path raises NSInvalidArgumentException, as nothing nil can be put there.
    void putDown(const OpenedFile& input, const SharedPlace& output) MV_EXCLUDES(m_pairLock);
    /// The body of a job's thread, once for each putDown(): encodes what was put down last.
    void encodeThread();

private:
    class JobListener;

    struct Pair {
        OpenedFile input;
        SharedPlace output;
    };

    struct Worker {
        std::thread thread;
        std::shared_ptr<std::atomic<bool>> done;
    };

    Pair takePair() MV_EXCLUDES(m_pairLock);
    void reapWorkers() MV_REQUIRES(m_workersLock);

    const EncodingRun m_run;
    const JobHold m_jobHold;
    std::atomic<bool> m_closing = false;
    Mutex m_pairLock;
    Pair m_pair MV_GUARDED_BY(m_pairLock);
    int m_threadsToCome MV_GUARDED_BY(m_pairLock) = 0;
    Mutex m_workersLock;
    std::vector<Worker> m_workers MV_GUARDED_BY(m_workersLock);
};

} // namespace mv
