#pragma once

#include <cstdint>

namespace mv {

/// The outcome of a platform call: 0, a four-character code or one of the well-known negative numbers.
using OSStatus = std::int32_t;

inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus dskFulErr = -34;
inline constexpr OSStatus ioErr = -36;
inline constexpr OSStatus fnfErr = -43; ///< file not found
inline constexpr OSStatus paramErr = -50;
inline constexpr OSStatus permErr = -54; ///< may not be opened
inline constexpr OSStatus memFullErr = -108;
inline constexpr OSStatus kLSNoExecutableErr = -10827; ///< an application without anything to run

} // namespace mv
