#pragma once

#include "client/MediaInfoClient.h"
#include "service/include/MVImageInfoBuilder.h"
#include "service/include/ServiceNames.h"

namespace mv {

/// Asks the image service: records (as MediaInfoClient) and thumbnails.
class ImageClient : public MediaInfoClient {
public:
    explicit ImageClient(ServiceBus& bus)
        : MediaInfoClient(bus, ImageParserService)
        , m_bus(bus)
    {
    }

    struct Thumbnail {
        Bytes tiff; ///< RGBA, 8 bits a channel, uncompressed
        double sourceWidth = 0; ///< pixels
        double sourceHeight = 0;
    };

    /// The picture scaled into `maximum`, or nothing where the service cannot render one.
    Result<std::optional<Thumbnail>> makeThumbnail(const Path& path, FloatSize maximum);

private:
    ServiceBus& m_bus;
};

} // namespace mv
