#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Media/Bitmap.h"

#include <map>
#include <string>

namespace mv {

/// Texts of a PNG file by their keys (1 to 79 characters). Both are printable ASCII.
using PngTexts = std::map<std::string, std::string, std::less<>>;

/// The picture as PNG; without the fourth channel where every pixel is opaque. The texts stand before the pixels.
Bytes pngOf(const Bitmap& bitmap, const PngTexts& texts = {});

/// The texts that stand before the pixels of a PNG file, as far as `begin`, its first bytes, holds them: uncompressed
/// ones alone. Nothing where it is no PNG file.
PngTexts textsOfPng(ByteView begin);

} // namespace mv
