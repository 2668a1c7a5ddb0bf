#pragma once

#include "Base/Core/Bytes.h"

#include <algorithm>
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

} // namespace mv
