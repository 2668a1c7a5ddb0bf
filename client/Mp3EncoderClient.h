#pragma once

#include "Base/Core/Path.h"
#include "client/ServiceBus.h"
#include "service/include/MVAudioEncoderBase.h"

#include <memory>
#include <vector>

namespace mv {

/// How a job ended.
struct EncodeOutcome {
    enum class End { Done, Cancelled, Failed };

    End end = End::Done;
    std::int32_t code = 0; ///< MVAudioEncoderError..., when it failed
};

/// Hears of one job, on the thread that runs the jobs.
class EncodeListener {
public:
    virtual ~EncodeListener() = default;
    virtual void started() { }
    /// Asked before the job is handed to the service and before every block; true cancels it, and the service deletes
    /// what it had written.
    virtual bool shouldStop() { return false; }
    /// Whole percent, growing.
    virtual void progress(double percent) = 0;
    virtual void ended(const Result<EncodeOutcome>& outcome) = 0;
};

struct EncodeJob {
    Path input;
    Path output;
    EncodeListener* listener = nullptr; ///< not null; outlives the job
};

/// The encoder and its delegate as clients see them.
using ClientAudioEncoder = MVAudioEncoderBaseOf<Path, Path>;
using ClientAudioEncoderDelegate = ClientAudioEncoder::Delegate;

/// The MP3 encoder. It is one object for all clients: its attributes and its delegate stay as the last client set them.
class Mp3EncoderClient final : public ClientAudioEncoder {
public:
    explicit Mp3EncoderClient(ServiceBus& bus);
    ~Mp3EncoderClient() override;

    void setAttributes(const Record& attributes) override;
    Record attributes() const override;
    /// The delegate's messages are answered on the calling thread, whenever a call of the bus waits; delegateOfJob is
    /// not asked for. It is kept until this client ends, for a job that still has it.
    void setDelegate(std::shared_ptr<ClientAudioEncoderDelegate> delegate) override;
    void encodeOnThreadFileOutputFile(const Path& input, const Path& output) override;
    bool encodeFileOutputFile(const Path& input, const Path& output) override;

    /// Runs the jobs, up to `atOnce` of them side by side, and returns when all have ended, each with its listener
    /// told; beside the protocol, for listeners that also want to know why a call failed. Raises nothing.
    void encode(const std::vector<EncodeJob>& jobs, std::size_t atOnce);

private:
    class ServedDelegate;

    ServiceBus& m_bus;
    RemoteObject m_service;
    std::vector<std::unique_ptr<ServedDelegate>> m_delegates;
};

} // namespace mv
