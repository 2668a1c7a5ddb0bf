#pragma once

#include "cli/PictureOrientation.h"
#include "client/ImageClient.h"

namespace mv::cli {

/// The service's thumbnail of a picture file, turned as `orientation` says, so that it fits into `maximum` afterwards;
/// TIFF, or nothing where the service cannot render one.
Result<std::optional<Bytes>> makeTurnedThumbnail(
    ServiceBus& bus, const Path& path, FloatSize maximum, Orientation orientation);

} // namespace mv::cli
