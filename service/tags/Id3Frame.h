#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <string>

namespace mv {

/// A frame of an ID3v2.3 tag as it stands in the file.
struct Id3Frame {
    std::string id; ///< four characters
    std::uint16_t flags = 0;
    Bytes content; ///< behind the header

    bool operator==(const Id3Frame&) const = default;
};

} // namespace mv
