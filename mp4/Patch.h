#pragma once

#include "system/FileContent.h"

namespace mv {

/// New bytes for a place of a file.
struct Patch {
    std::uint64_t offset = 0;
    Bytes bytes;
    std::uint64_t replaced = bytes.size(); ///< as many bytes of the file give way
};

/// A file of that size with its patches; no two of them are for the same bytes.
FileContent patchedContent(std::vector<Patch> patches, std::uint64_t fileSize);

} // namespace mv
