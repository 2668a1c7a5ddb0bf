#pragma once

#include <cstdint>

namespace mv {

/// The outcome of a platform call: 0, a four-character code or one of the well-known negative numbers.
using OSStatus = std::int32_t;

// Of the system and its files.
inline constexpr OSStatus noErr = 0;
inline constexpr OSStatus dskFulErr = -34;
inline constexpr OSStatus ioErr = -36;
inline constexpr OSStatus eofErr = -39; ///< the file ends too early
inline constexpr OSStatus fnfErr = -43; ///< file not found
inline constexpr OSStatus paramErr = -50;
inline constexpr OSStatus permErr = -54; ///< may not be opened
inline constexpr OSStatus memFullErr = -108;
inline constexpr OSStatus userCanceledErr = -128; ///< the progress procedure said so
inline constexpr OSStatus kLSNoExecutableErr = -10827; ///< an application without anything to run

// Of movies.
inline constexpr OSStatus invalidMovie = -2010; ///< a movie that cannot be read to its end
inline constexpr OSStatus noMovieFound = -2048; ///< not a movie
inline constexpr OSStatus noExportProcAvailableErr = -2089; ///< holds what an MPEG-4 file cannot

// Of sound.
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
inline constexpr OSStatus kAudioConverterErr_PropertyNotSupported = 0x70726F70; // 'prop'
inline constexpr OSStatus kAudioConverterErr_BadPropertySizeError = 0x2173697A; // '!siz'

} // namespace mv
