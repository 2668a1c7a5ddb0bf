#pragma once

#include "service/include/PictureRendering.h"

namespace mv {

/// Rows of the rendered picture with the keys of PictureRendering.h, at most MaxRenderedBytes of them (one at least); a
/// problem where none of its pixels can be decoded; nothing where the file is no picture, or where the result would
/// have more than MaxTiffPixels or has no such row. Renders it anew for every call.
std::optional<Record> renderPicture(const OpenedFile& file, const PictureRendering& rendering);

} // namespace mv
