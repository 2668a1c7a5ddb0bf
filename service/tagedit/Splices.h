#pragma once

#include "system/FileContent.h"

#include <vector>

namespace mv {

/// A stretch of a file that other bytes take the place of; of no length where they are put in.
struct Splice {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
    Bytes bytes;

    std::uint64_t end() const { return offset + length; }
};
using Splices = std::vector<Splice>;

/// The content of a file of that size with the splices, which come in any order and do not overlap. Format where they
/// do, or lie outside.
Result<FileContent> splicedContent(std::uint64_t fileSize, Splices splices);

} // namespace mv
