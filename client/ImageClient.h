#pragma once

#include "client/MediaInfoClient.h"
#include "service/include/MVImageInfoBuilder.h"
#include "service/include/ServiceNames.h"

namespace mv {

/// The image service.
class ImageClient final : public MVImageInfoBuilderOf<Path> {
public:
    explicit ImageClient(const ServiceBus& bus)
        : m_records(bus, ImageParserService)
        , m_service(bus.object(ImageParserService, wire::ImageInfoBuilder::Interface))
    {
    }

    std::optional<Record> build(const Path& path) override { return m_records.build(path); }
    std::optional<Record> makeThumbnailWithMaxSize(const Path& path, FloatSize maximum) override
    {
        return m_service.ask(wire::ImageInfoBuilder::makeThumbnailWithMaxSize, &WireReader::optionalRecord,
            [&](WireWriter& out) { out.path(path).realPair(maximum.width, maximum.height); });
    }

private:
    MediaInfoClient m_records;
    RemoteObject m_service;
};

} // namespace mv
