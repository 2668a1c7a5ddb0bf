#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

/// One page of an Ogg file, whose checksum was found right. Views into the bytes that it was read from.
struct OggPage {
    static constexpr std::size_t MaxSize = 27 + 255 + 255 * 255;
    static constexpr std::uint64_t NoGranule = ~std::uint64_t { 0 }; ///< no packet ends on the page

    bool beginsStream = false;
    std::uint64_t granule = NoGranule; ///< the codec's own measure of time at the end of the page
    std::uint32_t serial = 0; ///< which of the interleaved streams
    std::uint32_t number = 0; ///< of the page in its stream, from 0
    std::uint32_t packetEnds = 0; ///< packets that end on the page
    std::size_t size = 0; ///< bytes of the whole page
    ByteView body;

    /// The page at the front of `bytes`; nothing where no whole, undamaged page is.
    static std::optional<OggPage> parse(ByteView bytes);
    /// The first whole page at or behind `from`, which is moved to its place.
    static std::optional<OggPage> find(ByteView bytes, std::size_t& from);
};

/// The checksum of a whole page, whatever stands in the place of its own.
std::uint32_t oggChecksum(ByteView page);

} // namespace mv
