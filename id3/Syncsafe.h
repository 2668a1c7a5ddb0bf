#pragma once

#include "Base/Core/Bytes.h"

#include <algorithm>
#include <array>
#include <cstdint>

namespace mv {

// Numbers of ID3v2 with seven bits a byte.

/// True when no byte has its highest bit set.
inline bool isSyncsafe(ByteView bytes)
{
    return std::all_of(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte < 0x80; });
}

/// Of the first four bytes, which must be there.
inline std::uint32_t syncsafe32(ByteView bytes)
{
    return std::uint32_t { bytes[0] } << 21 | std::uint32_t { bytes[1] } << 14 | std::uint32_t { bytes[2] } << 7
        | bytes[3];
}

/// The four bytes of a number below 2 to the 28th.
inline std::array<std::uint8_t, 4> syncsafeBytes(std::uint32_t number)
{
    std::array<std::uint8_t, 4> bytes {};
    for (std::size_t i = 0; i < bytes.size(); ++i)
        bytes[i] = static_cast<std::uint8_t>(number >> (21 - 7 * i) & 0x7F);
    return bytes;
}

} // namespace mv
