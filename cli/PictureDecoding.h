#pragma once

#include "Base/Media/Bitmap.h"
#include "Base/Media/Orientation.h"
#include "service/include/MVImageInfoBuilder.h"

#include <optional>

namespace mv::cli {

// The tool itself reads pictures in the one form alone in which they leave the services (Base/Media/TiffForm.h), which
// needs no decoder. All others are decoded in a closed process.

/// The pixels of a picture that the service gave.
Result<Bitmap> bitmapOfTiff(const Bytes& tiff);
/// The other way round: such a picture. Nothing for a bitmap without pixels or with more than there may be.
std::optional<Bytes> tiffOf(const Bitmap& bitmap);

/// The pixels of any encoded picture, at its own size.
Result<Bitmap> decodedPicture(const Bytes& picture);

/// A thumbnail of a file as the service would make it for a content category, of the turned picture; TIFF, or nothing
/// where none can be made. Without `maximum` in the category's size.
Result<std::optional<Bytes>> thumbnailOfFile(
    const Path& path, int category, std::optional<FloatSize> maximum, Orientation orientation);

} // namespace mv::cli
