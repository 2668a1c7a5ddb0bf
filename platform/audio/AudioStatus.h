#pragma once

#include "Base/Core/Error.h"
#include "Base/Core/Text.h"

#include <cstdint>

namespace mv {

/// The outcome of a platform call: 0, a four-character code or one of the well-known negative numbers.
using OSStatus = std::int32_t;

inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus ioErr = -36;
inline constexpr OSStatus fnfErr = -43; ///< file not found
inline constexpr OSStatus paramErr = -50;
inline constexpr OSStatus permErr = -54; ///< may not be opened
inline constexpr OSStatus memFullErr = -108;

inline constexpr OSStatus kAudioFileUnspecifiedError = 0x7768743F; // 'wht?'
inline constexpr OSStatus kAudioFileUnsupportedFileTypeError = 0x7479703F; // 'typ?'
inline constexpr OSStatus kAudioFileUnsupportedDataFormatError = 0x666D743F; // 'fmt?'
inline constexpr OSStatus kAudioFileInvalidFileError = 0x6474613F; // 'dta?'

inline constexpr OSStatus kExtAudioFileError_InvalidProperty = -66561;
inline constexpr OSStatus kExtAudioFileError_InvalidPropertySize = -66562;
inline constexpr OSStatus kExtAudioFileError_NonPCMClientFormat = -66563;
inline constexpr OSStatus kExtAudioFileError_InvalidOperationOrder = -66565;
inline constexpr OSStatus kExtAudioFileError_InvalidDataFormat = -66566;

/// The status that stands for an error of the file system or of reading, by its kind.
OSStatus statusOfKind(Error::Kind kind);

/// A status or format as its four characters, each byte one character (negative numbers too).
inline std::string UTCreateStringForOSType(std::int32_t code)
{
    return fourCharacterText(static_cast<std::uint32_t>(code));
}

} // namespace mv
