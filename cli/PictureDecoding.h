#pragma once

#include "Base/Media/Orientation.h"
#include "platform/NSImage.h"
#include "service/include/MVImageInfoBuilder.h"

#include <optional>

namespace mv::cli {

// The one place where the tool decodes pictures in its own process.

/// The pixels of an encoded picture, at its own size.
Result<Bitmap> bitmapOf(const Bytes& picture);

/// The size of an encoded picture by its header; nothing where the bytes are none.
struct PictureSize {
    int width = 0;
    int height = 0;
};
std::optional<PictureSize> sizeOfPicture(const Bytes& picture);

/// A thumbnail of a file as the service would make it for a content category, of the turned picture; TIFF, or nothing
/// where none can be made. Without `maximum` in the category's size.
std::optional<Bytes> thumbnailOfFile(
    const Path& path, int category, std::optional<FloatSize> maximum, Orientation orientation);

} // namespace mv::cli
