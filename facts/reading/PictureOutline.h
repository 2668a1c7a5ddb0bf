#pragma once

#include "Base/Core/Bytes.h"
#include "facts/reading/ContentType.h"
#include "system/ByteSource.h"

#include <cstdint>

namespace mv {

/// What a picture's headers tell; no pixel is decoded.
struct PictureOutline {
    std::uint32_t width = 0; ///< pixels as stored; 0 where it is not told
    std::uint32_t height = 0;
    std::uint32_t orientation = 0; ///< what the container itself says, 1 to 8; 0 where it has no say
    /// The EXIF block from its byte order mark on, as TIFF files begin, written anew: what is asked of the picture, of
    /// the camera and of the place, without the camera maker's own notes and previews. Empty without one.
    Bytes exif;
};

/// A block is kept up to this size: JPEG's segments end at 64 KiB, and other containers' blocks hold the same.
inline constexpr std::size_t MaxExifBytes = std::size_t { 1 } << 20;

/// Of a file of that family, which is one of pictures.
PictureOutline outlineOfPicture(FileFamily family, const ByteSource& source);

// For the dispatcher above. The block of the first is as stored.
PictureOutline outlineOfHeif(const ByteSource& source);
PictureOutline outlineOfTiff(const ByteSource& source);

} // namespace mv
