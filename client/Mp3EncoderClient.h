#pragma once

#include "Base/Core/Path.h"
#include "client/ServiceBus.h"
#include "service/include/MVAudioEncoderBase.h"

#include <cstdint>
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

/// Asks the MP3 encoder. It is one object for all clients: its attributes and its delegate stay as the last client
/// set them.
class Mp3EncoderClient {
public:
    explicit Mp3EncoderClient(ServiceBus& bus)
        : m_bus(bus)
    {
    }

    /// Keys not given keep their values.
    Result<void> setAttributes(const Record& attributes);
    Result<Record> attributes();

    /// Runs the jobs, up to `atOnce` of them side by side, and returns when all have ended, each with its listener
    /// told.
    void encode(const std::vector<EncodeJob>& jobs, std::size_t atOnce);

private:
    class Delegate;

    Result<void> start(const EncodeJob& job, const std::string& delegatePath);

    ServiceBus& m_bus;
};

} // namespace mv
