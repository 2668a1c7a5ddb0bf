#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"
#include "client/ServiceBus.h"

#include <optional>

namespace mv {

/// Asks one of the describing services for media information records.
class MediaInfoClient {
public:
    /// The service keeps its name for the client's life; the bus is the caller's.
    MediaInfoClient(ServiceBus& bus, std::string_view service)
        : m_bus(bus)
        , m_service(service)
    {
    }

    /// The record of the file, or nothing where the service has none for it.
    Result<std::optional<Record>> build(const Path& path);

private:
    ServiceBus& m_bus;
    std::string_view m_service;
};

/// The service that describes a file, by the ending of its name: MP3 files, M4A files, FLAC and Ogg files and pictures
/// have a service of their own, everything else goes to the audio/video parser.
std::string_view describingService(const Path& path);
/// The record of a file from the service that the ending of its name calls for.
Result<std::optional<Record>> describeFile(ServiceBus& bus, const Path& path);

} // namespace mv
