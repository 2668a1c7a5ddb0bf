#pragma once

#include "Base/Core/Result.h"
#include "platform/graphics/PictureSource.h"

#include <vector>

namespace mv {

/// One scan of a progressive JPEG.
struct JpegScan {
    std::uint64_t offset = 0; ///< of its marker
    std::uint64_t length = 0; ///< up to the marker that follows its data
    int componentCount = 0;
    int componentId = 0; ///< of the first component
    int spectralStart = 0; ///< 0: means of blocks (DC); above: their details
};

/// Where the parts of a JPEG lie, read from its markers alone.
struct JpegOutline {
    std::uint64_t frameOffset = 0; ///< of the marker of the frame header, which every decodable file has
    bool progressive = false;
    std::vector<JpegScan> scans; ///< only of progressive files
};

/// Refuses files without a frame header, and progressive files of more scans than any encoder writes.
Result<JpegOutline> outlineOfJpeg(const PictureSource& source);

} // namespace mv
