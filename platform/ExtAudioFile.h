#pragma once

#include "audio/AudioFile.h"
#include "system/FSRef.h"
#include "system/OutputPlace.h"

namespace mv {

// The extended audio file functions, under their own names. A file that is open for reading is decoded into the
// client format. Its length in frames is exact: gaps at start and end that the file declares are left out, sizes that
// exceed the file are cut to it, and reading delivers exactly as many frames.
//
// The default client format: interleaved signed integers, native byte order, packed, of the file's own rate and
// channels; 16 bits for compressed formats, else the stored depth rounded up to 8, 16, 24 or 32 bits (unsigned 8-bit
// samples are turned into signed ones; floating-point samples into 32-bit integers, clipped). 24-bit samples are the
// exception from native order: 3 bytes each, most significant first.
//
// A file is used on one thread at a time; different files on any threads.

using ExtAudioFileRef = AudioFile*;

inline constexpr std::uint32_t kExtAudioFileProperty_FileDataFormat = fourCC("ffmt"); ///< description, read only
inline constexpr std::uint32_t kExtAudioFileProperty_ClientDataFormat = fourCC("cfmt"); ///< description
inline constexpr std::uint32_t kExtAudioFileProperty_FileLengthFrames = fourCC("#frm"); ///< int64, read only
inline constexpr std::uint32_t kExtAudioFileProperty_AudioConverter = fourCC("acnv"); ///< AudioConverterRef, read only

/// Begins to decode an opened file; the caller disposes of the result. `file` is null after a failure: fnfErr,
/// permErr, 'typ?' for what is no audio file, 'fmt?' for audio that cannot be decoded, 'dta?' for a damaged file.
OSStatus ExtAudioFileOpen(const FSRef& ref, ExtAudioFileRef* file);
OSStatus ExtAudioFileOpenURL(const OpenedFile& url, ExtAudioFileRef* file);

inline constexpr std::uint32_t kAudioFileFlags_EraseFile = 1;

/// Creates a file for writing: an MPEG-4 audio file (kAudioFileM4AType) of AAC (kAudioFormatMPEG4AAC), sizes and flags
/// in the description 0. A rate that AAC does not have becomes the nearest that it has. The file is made out of sight
/// and takes its name, replacing an existing file, when it is disposed of; an existing file without
/// kAudioFileFlags_EraseFile is kAudioFilePermissionsError. What cannot be written fails here: fnfErr without the
/// folder, permErr, 'typ?', 'fmt?'. The client format is interleaved 32-bit floats or signed integers of 16 or 32 bits;
/// its rate is that of the frames that come in.
OSStatus ExtAudioFileCreateWithURL(OutputPlace& url, std::uint32_t fileType,
    const AudioStreamBasicDescription& description, const void* channelLayout, std::uint32_t flags,
    ExtAudioFileRef* file);

/// Encodes the frames of the first buffer. Encoding overlaps with the caller's work: a failure may come back from a
/// later write, or from disposing.
OSStatus ExtAudioFileWrite(ExtAudioFileRef file, std::uint32_t frames, const AudioBufferList* data);

/// `size` is the room at `data` on the way in and the size of the property on the way out. A room that is too small
/// gives kExtAudioFileError_InvalidPropertySize, an unknown property kExtAudioFileError_InvalidProperty.
OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t* size, void* data);
/// The client format alone can be set: interleaved linear PCM, packed and native, signed integers of 8, 16 or 32
/// bits, of 24 bits most significant byte first, or 32-bit floats; the file's rate (0 means it too); the file's
/// channels, or 1 or 2 (mono goes to both channels at full level, more are mixed down without clipping). Before the
/// first frame only.
OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t size, const void* data);

/// Reads up to `*frames` frames, as many as have room in the first buffer; fewer only at the end, 0 after it.
/// `*frames` and the buffer's byte size tell what was delivered. A packet that cannot be decoded is heard as silence
/// of its own length, damage at the end as silence up to the announced length; a file that cannot be read any more is
/// an error, and stays one.
OSStatus ExtAudioFileRead(ExtAudioFileRef file, std::uint32_t* frames, AudioBufferList* data);

/// Finishes and closes the file; the handle is gone whatever the result.
OSStatus ExtAudioFileDispose(ExtAudioFileRef file);

} // namespace mv
