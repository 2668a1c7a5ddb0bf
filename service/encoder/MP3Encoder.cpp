#include "service/encoder/MP3Encoder.h"

#include "Base/Core/Handle.h"
#include "Base/Core/NSAssert.h"

#include <utility>

namespace mv {

namespace {

constexpr const char* Encode = "-[MP3Encoder encodeFile:outputFile:]";

constexpr std::string_view InputFileKey = "_InputFile";
constexpr std::string_view OutputFileKey = "_OutputFile";

} // namespace

/// Hands what a job says on to the client's delegate, if there is one; ends the job when the encoder goes away.
class MP3Encoder::JobListener final : public EncodingListener {
public:
    explicit JobListener(MP3Encoder& encoder)
        : m_encoder(encoder)
        , m_delegate(encoder.delegateOfJob())
    {
    }

    void started() override
    {
        if (m_delegate)
            m_delegate->encoderDidStart(m_encoder);
    }
    bool shouldStop() override { return m_encoder.m_closing || (m_delegate && m_delegate->shouldEncodeStop()); }
    void progress(float percent) override
    {
        if (m_delegate)
            m_delegate->encoderProgress(m_encoder, percent);
    }
    void failed(std::int32_t code) override
    {
        if (m_delegate)
            m_delegate->encoderDidFailWithError(m_encoder, { std::string(MVAudioEncoderErrorDomain), code });
    }
    void ended() override
    {
        if (m_delegate)
            m_delegate->encoderDidEnd(m_encoder);
    }

private:
    MP3Encoder& m_encoder;
    const std::shared_ptr<MVAudioEncoderDelegate> m_delegate;
};

MP3Encoder::MP3Encoder(EncodingRun run, JobHold jobHold)
    : m_run(std::move(run))
    , m_jobHold(std::move(jobHold))
{
    mergeAttributes({ { MVMP3EncoderStereoModeAttribte, 2 }, { MVMP3EncoderQualityAttribute, 1 } });
}

MP3Encoder::~MP3Encoder()
{
    std::vector<Worker> workers;
    {
        MutexLock hold(m_workersLock);
        m_closing = true;
        workers.swap(m_workers);
    }
    // Not under the lock: a job's delegate may be asking for another job.
    for (Worker& worker : workers)
        worker.thread.join();
}

void MP3Encoder::setAttributes(const Record& attributes)
{
    Record usable;
    for (const auto& [key, value] : attributes) {
        if (!value.isOtherKind())
            usable.set(key, value);
    }
    mergeAttributes(usable);
}

bool MP3Encoder::encodeFileOutputFile(const OpenedFile& input, const SharedPlace& output)
{
    MV_ASSERT(!input.path().isNil(), Encode, "input is nil");
    MV_ASSERT(!output->path().isNil(), Encode, "output is nil");
    JobListener listener(*this);
    return m_run(attributes(), listener, input, *output);
}

void MP3Encoder::encodeOnThreadFileOutputFile(const OpenedFile& input, const SharedPlace& output)
{
    putDown(input, output);
    // A thread that does not come takes nothing up: without this the files would stay open.
    ScopeGuard takeBack([this] { static_cast<void>(takePair()); });
    MutexLock hold(m_workersLock);
    if (m_closing)
        throw NSException(NSGenericException, "the encoder is being closed");
    reapWorkers();
    m_workers.reserve(m_workers.size() + 1);
    auto done = std::make_shared<std::atomic<bool>>(false);
    std::thread thread([this, done, hold = m_jobHold ? m_jobHold() : nullptr]() mutable {
        encodeThread();
        *done = true;
        hold.reset();
    });
    takeBack.dismiss();
    m_workers.push_back({ std::move(thread), std::move(done) });
}

// Threads that have finished are joined when the next one starts, so that they do not pile up.
void MP3Encoder::reapWorkers()
{
    std::erase_if(m_workers, [](Worker& worker) {
        if (!*worker.done)
            return false;
        worker.thread.join();
        return true;
    });
}

void MP3Encoder::putDown(const OpenedFile& input, const SharedPlace& output)
{
    auto note = [this](std::string_view key, const Path& path) {
        if (path.isNil())
            throw NSException(NSInvalidArgumentException, "attempt to insert nil value");
        mergeAttributes({ { key, path.text() } });
    };
    // One after the other: a nil output leaves the new input among the attributes.
    note(InputFileKey, input.path());
    note(OutputFileKey, output->path());
    MutexLock hold(m_pairLock);
    m_pair = { input, output };
    ++m_threadsToCome;
}

MP3Encoder::Pair MP3Encoder::takePair()
{
    MutexLock hold(m_pairLock);
    // The last one leaves nothing open.
    return --m_threadsToCome > 0 ? m_pair : std::exchange(m_pair, {});
}

void MP3Encoder::encodeThread()
{
    try {
        Pair pair = takePair();
        encodeFileOutputFile(pair.input, pair.output);
    } catch (const std::exception& problem) {
        NSLog("*** Terminating encoding thread due to uncaught exception: %s", problem.what());
    } catch (...) {
        NSLog("*** Terminating encoding thread due to uncaught exception of an unknown kind");
    }
}

} // namespace mv
