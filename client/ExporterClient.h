#pragma once

#include "client/ServiceBus.h"
#include "service/include/MVMP4ExporterBase.h"

namespace mv {

/// The MP4 exporter. It does one job at a time for all its clients, so a call may wait for another's. Delegates are
/// called on the thread that called.
class ExporterClient final : public MVMP4ExporterBaseOf<Path, Path> {
public:
    explicit ExporterClient(ServiceBus& bus);

    std::int32_t exportWithDelegateFromPathToMp4Path(
        MVMP4ExporterDelegate* delegate, const Path& source, const Path& destination) override;
    /// The service replaces a bit rate outside 1000 to 256000 by 128000.
    std::int32_t convertToAacWithDelegateFromPathToMp4PathBitrate(
        MVMP4ExporterDelegate* delegate, const Path& source, const Path& destination, std::int32_t bitrate) override;
    bool isAlacAudio(const Path& path) override;

private:
    std::int32_t run(const char* operation, MVMP4ExporterDelegate* delegate, const RemoteObject::Encode& arguments);

    ServiceBus& m_bus;
    RemoteObject m_service;
};

} // namespace mv
