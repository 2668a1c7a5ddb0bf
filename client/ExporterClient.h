#pragma once

#include "Base/Core/Path.h"
#include "client/ServiceBus.h"

#include <cstdint>

namespace mv {

/// Hears of an export's progress, on the thread that called.
class ExportListener {
public:
    virtual ~ExportListener() = default;
    /// Whole percent done. False cancels the job.
    virtual bool progress(std::int32_t percent) = 0;
};

/// Asks the MP4 exporter. It does one job at a time for all its clients, so a call may wait for another's.
class ExporterClient {
public:
    explicit ExporterClient(ServiceBus& bus)
        : m_bus(bus)
    {
    }

    /// Passes a movie's streams into an MPEG-4 file; a QuickTime error code, 0 for success. `listener` may be null.
    Result<std::int32_t> exportToMp4(const Path& source, const Path& destination, ExportListener* listener);
    /// Converts audio to AAC. 0 for success, -1 when the listener cancelled, or the first error code of the audio
    /// files. `bitrate` in bits per second; the service replaces one outside 1000 to 256000 by 128000.
    Result<std::int32_t> convertToAac(
        const Path& source, const Path& destination, std::int32_t bitrate, ExportListener* listener);
    /// True when the file holds Apple Lossless audio.
    Result<bool> isAlacAudio(const Path& path);

private:
    Result<std::int32_t> run(
        const char* operation, ExportListener* listener, const std::function<void(WireWriter&)>& arguments);

    ServiceBus& m_bus;
};

} // namespace mv
