#pragma once

#include "Base/Core/Error.h"
#include "Base/Core/OSStatus.h"
#include "Base/Core/Text.h"

#include <cstdint>

namespace mv {

inline constexpr OSStatus kAudioFileUnspecifiedError = 0x7768743F; // 'wht?'
inline constexpr OSStatus kAudioFileUnsupportedFileTypeError = 0x7479703F; // 'typ?'
inline constexpr OSStatus kAudioFileUnsupportedDataFormatError = 0x666D743F; // 'fmt?'
inline constexpr OSStatus kAudioFilePermissionsError = 0x70726D3F; // 'prm?'
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
