#pragma once

#include "system/OpenedFile.h"

#include <cstdint>

namespace mv {

// The operations of the basic audio library, under its public names. They measure streams and never decode or play
// one: opening reads the headers and what tells the length (the end of an Ogg file, of a FLAC without a total), so a
// large file costs what a small one does. Safe on several threads at once.

/// A stream, 0 for none.
using HSTREAM = std::uint32_t;

// The library's public error codes.
inline constexpr int BASS_OK = 0;
inline constexpr int BASS_ERROR_FILEOPEN = 2; ///< the file cannot be opened, or is no regular file
inline constexpr int BASS_ERROR_HANDLE = 5;
inline constexpr int BASS_ERROR_FORMAT = 6; ///< the right kind of file, but it cannot be decoded
inline constexpr int BASS_ERROR_INIT = 8; ///< BASS_Init was not called
inline constexpr int BASS_ERROR_ALREADY = 14;
inline constexpr int BASS_ERROR_ILLPARAM = 20;
inline constexpr int BASS_ERROR_FILEFORM = 41; ///< not a format that is known here

inline constexpr std::uint32_t BASS_STREAM_AUTOFREE = 0x40000;
inline constexpr std::uint32_t BASS_POS_BYTE = 0;

/// Must come before everything else; a second time fails with BASS_ERROR_ALREADY. No sound device is touched, so
/// the arguments change nothing. Cheap: nothing is loaded or allocated.
bool BASS_Init(int device, std::uint32_t frequency, std::uint32_t flags, const void* window, const void* classId);
/// Undoes BASS_Init and frees every stream.
bool BASS_Free();

/// A stream of a FLAC file (native, also with ID3v2 tags in front, or in Ogg). `memory` must be false and `offset` and
/// `length` 0: the whole of a named file is all that is supported. 0 on failure.
HSTREAM BASS_FLAC_StreamCreateFile(
    bool memory, const OpenedFile& file, std::uint64_t offset, std::uint64_t length, std::uint32_t flags);
/// The same for an Ogg file (Vorbis, also chained; Opus and FLAC are measured too).
HSTREAM BASS_StreamCreateFile(
    bool memory, const OpenedFile& file, std::uint64_t offset, std::uint64_t length, std::uint32_t flags);
bool BASS_StreamFree(HSTREAM stream);

/// The decoded length in bytes of 16-bit samples at the stream's own rate and channels; all bits set on failure.
/// `mode` must be BASS_POS_BYTE.
std::uint64_t BASS_ChannelGetLength(HSTREAM stream, std::uint32_t mode);
/// Seconds that so many of those bytes play for; negative on failure.
double BASS_ChannelBytes2Seconds(HSTREAM stream, std::uint64_t bytes);

/// The outcome of the calling thread's latest call of a function above, BASS_OK where it succeeded.
int BASS_ErrorGetCode();

} // namespace mv
