#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <string>

namespace mv {

/// A frame of an ID3v2.3 tag as it stands in the file.
struct Id3Frame {
    static constexpr std::size_t HeaderSize = 10;

    std::string id; ///< four characters, whatever they are
    std::uint16_t flags = 0;
    Bytes content; ///< behind the header

    // What is known of where it comes from; no part of the frame.
    bool isPlainComment = false; ///< a comment without a description
    bool isConverted = false; ///< of a tag of another version

    std::size_t size() const { return HeaderSize + content.size(); }
    bool operator==(const Id3Frame& other) const
    {
        return id == other.id && flags == other.flags && content == other.content;
    }
};

} // namespace mv
