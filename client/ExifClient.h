#pragma once

#include "client/ServiceBus.h"
#include "service/include/MVExifExtractorBase.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

/// The EXIF extractor. The record is brought over whole, and the service's own object released at once.
class ExifClient final : public MVExifExtractorBaseOf<Path> {
public:
    explicit ExifClient(const ServiceBus& bus)
        : m_bus(bus)
        , m_service(bus.object(ExifExtractorService, wire::ExifExtractorBase::Interface))
    {
    }

    std::shared_ptr<MVExifInfo> extractExif(const Path& path) override;

private:
    const ServiceBus& m_bus;
    RemoteObject m_service;
};

} // namespace mv
