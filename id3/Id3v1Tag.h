#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

/// The 128 bytes at the end of a file, version 1 or 1.1. Texts are bytes of an unknown code page, cut at the first zero
/// byte and without blanks at the end.
struct Id3v1Tag {
    static constexpr std::size_t Size = 128;

    Bytes title;
    Bytes artist;
    Bytes album;
    Bytes year;
    Bytes comment;
    std::uint8_t track = 0; ///< 0 where the tag has none (version 1 never has one)
    std::uint8_t genre = 255; ///< an index of the genre table; 255 for none

    /// Nothing when the 128 bytes do not begin with "TAG".
    static std::optional<Id3v1Tag> parse(ByteView bytes);
};

} // namespace mv
