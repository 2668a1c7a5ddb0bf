#pragma once

#include "Base/Core/Result.h"
#include "Base/Media/Bitmap.h"

namespace mv {

/// The quality of an encoder that is given no properties: libjpeg's own default, on its scale of 1 to 100.
inline constexpr int DefaultJpegQuality = 75;

/// A baseline JPEG, 4:2:0. What is transparent becomes white. An error when a side is above JPEG's 65,500 or empty.
Result<Bytes> encodeJpeg(const Bitmap& bitmap, int quality = DefaultJpegQuality);

} // namespace mv
