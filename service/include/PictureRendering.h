#pragma once

#include "Base/Media/Orientation.h"
#include "Base/Media/Value.h"
#include "service/include/MVImageInfoBuilder.h"

#include <optional>

namespace mv {

/// What a program that shows a picture wants of its pixels. All sizes are in pixels.
struct PictureRendering {
    int category = 0; ///< of a thumbnail; 0 is the picture as it is, at its own size and not turned
    std::optional<FloatSize> maximum; ///< without it in the category's own size
    Orientation orientation; ///< a thumbnail's picture is turned so before
    int firstRow = 0; ///< of the result: an answer has the rows from here on for which it has room
};

// Keys of the answer: some of the result's rows, in the form of TiffForm.h, and how many rows the whole has. Or alone a
// sentence that says why a picture has no pixels.
inline constexpr std::string_view kRenderedRows = "rows";
inline constexpr std::string_view kRenderedHeight = "height";
inline constexpr std::string_view kRenderingProblem = "problem";

} // namespace mv
