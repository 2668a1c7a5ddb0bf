#pragma once

#include "Base/Media/Orientation.h"
#include "Base/Media/TiffForm.h"
#include "Base/Media/Value.h"
#include "service/include/MVImageInfoBuilder.h"

#include <algorithm>
#include <optional>

namespace mv {

/// What a program that shows a picture wants of its pixels. All sizes are in pixels.
struct PictureRendering {
    int category = 0; ///< of a thumbnail; 0 is the picture as it is, at its own size and not turned
    std::optional<FloatSize> maximum; ///< without it in the category's own size
    Orientation orientation; ///< a thumbnail's picture is turned so before
    int firstRow = 0; ///< of the result: an answer has the rows from here on for which it has room
};

/// Of the pixels in one answer, but for a row that alone is more: twelve megapixels need two. Small against what a
/// closed process may use.
inline constexpr std::size_t MaxRenderedBytes = std::size_t { 32 } << 20;

/// How many rows an answer has: who asks a hostile worker takes no other number, or it might come row by row for ever.
/// Below 1 where there is no such row.
constexpr int renderedRows(int width, int height, int firstRow)
{
    const auto rowBytes = static_cast<std::size_t>(std::max(1, width)) * TiffPixelBytes;
    const auto room = static_cast<int>(std::max<std::size_t>(1, MaxRenderedBytes / rowBytes));
    return std::min(room, height - firstRow);
}

// Keys of the answer: some of the result's rows, in the form of TiffForm.h, and how many rows the whole has. Or alone a
// sentence that says why a picture has no pixels.
inline constexpr std::string_view kRenderedRows = "rows";
inline constexpr std::string_view kRenderedHeight = "height";
inline constexpr std::string_view kRenderingProblem = "problem";

} // namespace mv
