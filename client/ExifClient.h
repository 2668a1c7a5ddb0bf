#pragma once

#include "client/ServiceBus.h"
#include "service/include/MVExifExtractorBase.h"

#include <optional>

namespace mv {

/// Asks the EXIF extractor and brings the record over whole: the service's own object is released at once.
class ExifClient {
public:
    explicit ExifClient(ServiceBus& bus)
        : m_bus(bus)
    {
    }

    /// Nothing when the file has no readable EXIF data.
    Result<std::optional<MVExifInfo>> extractExif(const Path& path);

private:
    Result<MVExifInfo> readInfo(const std::string& objectPath);

    ServiceBus& m_bus;
};

} // namespace mv
