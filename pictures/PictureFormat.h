#pragma once

#include "Base/Core/Bytes.h"

namespace mv {

enum class PictureFormat { None, Jpeg, Png, Gif, Bmp, Tiff, WebP, Heif };

/// How many first bytes formatOfBytes() wants to see.
inline constexpr std::size_t PictureMagicBytes = 32;

/// The format by magic bytes. This is the allow list: what is not named here (SVG, PDF, PostScript, scripts) is never
/// given to any library.
PictureFormat formatOfBytes(ByteView first);

} // namespace mv
