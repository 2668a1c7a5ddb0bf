#pragma once

#include "service/include/MVMediaInfoBuilder.h"

#include <string_view>

namespace mv {

// The picture that stands for a file where files are looked through: a photo itself, the cover of a song, a frame of a
// video. Upright, in the file's own proportions, never enlarged, with its transparency.

/// The larger side, in pixels, up to which one is made.
inline constexpr int MaxPreviewSide = 2048;

/// What is wanted of it.
struct PreviewWish {
    int side = MaxPreviewSide; ///< of the larger one, in pixels, 1 to MaxPreviewSide
    bool isUpright = true; ///< a picture is turned as it says itself; a video's frame always is
    bool takesCover = true; ///< the cover of a song or a video goes before a frame
};

// Keys of the answer. A file that nobody can read has no answer.
inline constexpr std::string_view kPreviewPicture = "picture"; ///< in the form of TiffForm.h, colours not multiplied
inline constexpr std::string_view kPreviewSourceWidth = "sourceWidth"; ///< integer, of the upright original
inline constexpr std::string_view kPreviewSourceHeight = "sourceHeight";
inline constexpr std::string_view kPreviewSeconds = "seconds"; ///< real, of a video whose length is known
/// Alone: why what there is has no pixels.
inline constexpr std::string_view kPreviewProblem = "problem";
/// Alone, and true: the file is sound and has no picture.
inline constexpr std::string_view kPreviewIsMissing = "missing";

} // namespace mv
