#pragma once

#include "Base/Core/Result.h"
#include "system/ByteSource.h"

namespace mv {

/// Where the parts of a JPEG lie, read from its markers alone.
struct JpegOutline {
    std::uint64_t frameOffset = 0; ///< of the marker of the frame header, which every decodable file has
    bool progressive = false;
};

/// Refuses files without a frame header, and progressive files of more scans than any encoder writes.
Result<JpegOutline> outlineOfJpeg(const ByteSource& source);

} // namespace mv
