#pragma once

#include "Base/Media/Bitmap.h"
#include "service/include/Preview.h"
#include "system/OpenedFile.h"

#include <optional>

namespace mv {

/// The picture that stands for a file.
struct FilePreview {
    Bitmap picture;
    int sourceWidth = 0; ///< of the upright original
    int sourceHeight = 0;
    std::optional<double> seconds; ///< of a video
};

/// Has it made in a closed process, of at most `side` pixels (1 to MaxPreviewSide). Fails with the error of opening the
/// file, with NotFound for a sound file that has no picture, with Format for one that cannot be decoded, with State
/// where there is no closed process: nothing is ever decoded in an open one. Safe on several threads at once.
Result<FilePreview> previewOf(const OpenedFile& file, int side);

} // namespace mv
