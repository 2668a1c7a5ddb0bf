#pragma once

#include "Base/Core/Path.h"

#include <cstdint>
#include <optional>

namespace mv {

// Media type codes: the category in the high byte (0x01 audio, 0x02 video, 0x04 image), one format bit below it.
// Format bits repeat across categories, so only the whole value names a format.
inline constexpr std::int32_t MVMediaTypeUnknown = 0;
inline constexpr std::int32_t MVMediaTypeMP3 = 0x01000001;
inline constexpr std::int32_t MVMediaTypeWMA = 0x01000002;
inline constexpr std::int32_t MVMediaTypeOGG = 0x01000004;
inline constexpr std::int32_t MVMediaTypeWAV = 0x01000008;
inline constexpr std::int32_t MVMediaTypeM4A = 0x01000020;
inline constexpr std::int32_t MVMediaTypeFLAC = 0x01000040;
inline constexpr std::int32_t MVMediaType3GA = 0x01000080;
inline constexpr std::int32_t MVMediaTypeAMR = 0x01000200;
inline constexpr std::int32_t MVMediaTypeMID = 0x01000800;
inline constexpr std::int32_t MVMediaTypeIMY = 0x01002000;
inline constexpr std::int32_t MVMediaTypeAAC = 0x01020000;
inline constexpr std::int32_t MVMediaTypeAVI = 0x02000002;
inline constexpr std::int32_t MVMediaTypeM4V = 0x02000010;
inline constexpr std::int32_t MVMediaTypeMOV = 0x02000020;
inline constexpr std::int32_t MVMediaType3GP = 0x02004000;
inline constexpr std::int32_t MVMediaTypeMP4 = 0x02020000;
inline constexpr std::int32_t MVMediaTypeJPG = 0x04000001;
inline constexpr std::int32_t MVMediaTypeBMP = 0x04000002;
inline constexpr std::int32_t MVMediaTypeGIF = 0x04000004;
inline constexpr std::int32_t MVMediaTypePNG = 0x04000008;

/// Classifies files by the extension of their path; never opens them. No state, safe on any thread.
class MVMediaTypeReader {
public:
    /// The code of the extension, case ignored; 0 for one that is not known, with a gated log line.
    static std::int32_t type(const Path& path);
    /// The same without a line; nothing for one that is not known.
    static std::optional<std::int32_t> knownType(const Path& path);
    /// "MP3", "JPG" ...; "UNKNOWN" for 0 and every value that is no code.
    static const char* typeName(std::int32_t code);
};

} // namespace mv
