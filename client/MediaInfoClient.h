#pragma once

#include "client/ServiceBus.h"
#include "service/include/MVMediaInfoBuilder.h"
#include "service/include/WireNames.h"

namespace mv {

/// One of the describing services.
class MediaInfoClient final : public MVMediaInfoBuilderOf<Path> {
public:
    MediaInfoClient(const ServiceBus& bus, std::string_view service)
        : m_service(bus.object(service, wire::MediaInfoBuilder::Interface))
    {
    }

    std::optional<Record> build(const Path& path) override
    {
        return m_service.ask(
            wire::MediaInfoBuilder::build, &WireReader::optionalRecord, [&](WireWriter& out) { out.path(path); });
    }

private:
    RemoteObject m_service;
};

/// The service that describes a file, by the ending of its name: MP3 files, M4A files, FLAC and Ogg files and pictures
/// have a service of their own, everything else goes to the audio/video parser.
std::string_view describingService(const Path& path);
/// The record of a file from the service that the ending of its name calls for.
Result<std::optional<Record>> describeFile(ServiceBus& bus, const Path& path);

} // namespace mv
