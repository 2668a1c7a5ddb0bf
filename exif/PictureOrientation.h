#pragma once

#include "Base/Media/Orientation.h"
#include "system/ByteSource.h"

namespace mv {

/// How a picture file's pixels are to be turned to be upright: what the tag Orientation says in the Exif data of JPEG,
/// PNG and WebP files, and in the first directory of TIFF files. Upright for every other file, and for HEIF and AVIF,
/// whose turning is part of their picture.
Orientation orientationOf(const ByteSource& file);

} // namespace mv
