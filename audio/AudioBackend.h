#pragma once

#include "Base/Core/Result.h"
#include "audio/AacEncoder.h"
#include "audio/AudioStatus.h"
#include "audio/AudioStreamBasicDescription.h"
#include "system/ByteSource.h"

#include <cstdint>
#include <memory>

namespace mv {

enum class SampleKind { Unsigned8, Signed16, Signed32, Float32, Float64 };

/// A run of decoded frames as the decoder made them. Integers use the whole width of their kind (20-bit samples lie
/// in the upper bits of a Signed32); floating-point samples have full scale at 1.
struct DecodedFrames {
    SampleKind kind = SampleKind::Signed16;
    bool planar = false;
    std::uint32_t channels = 0;
    std::uint32_t count = 0; ///< frames; 0 at the end of the file
    /// One plane of interleaved samples, or one for each channel. Valid until the next call.
    const std::uint8_t* const* planes = nullptr;
};

/// What a source announces. All decoded frames have this rate and these channels.
struct AudioSourceFormat {
    AudioStreamBasicDescription description; ///< of the file's data
    std::uint64_t channelMask = 0; ///< one bit for each channel in order, as in WAVE files; 0 when not known
    std::int64_t frames = 0; ///< what decoding delivers, exactly; but for damage at the end, which may give less
};

/// An audio file that is being decoded, on one thread at a time. The code of its errors is an OSStatus.
class AudioSource {
public:
    virtual ~AudioSource() = default;
    virtual const AudioSourceFormat& format() const = 0;
    /// The next frames. An error (the file cannot be read) is final.
    virtual Result<DecodedFrames> next() = 0;
};

/// What audio files need done by FFmpeg. The base class is the one that stands in where FFmpeg is missing: it
/// refuses everything.
class AudioBackend {
public:
    virtual ~AudioBackend() = default;
    /// Opens the first audio stream of a file. The code of an error is the OSStatus that says why.
    virtual Result<std::unique_ptr<AudioSource>> openSource(SharedSource)
    {
        return Error { Error::Kind::Unsupported, "no decoders", kAudioFileUnsupportedFileTypeError };
    }
    /// The settings' rate is one of AAC's, its channels are 1 to 8; a bit rate that the encoder cannot take becomes
    /// the nearest that it can.
    virtual Result<std::unique_ptr<AacEncoder>> makeAacEncoder(const AacEncoderSettings&)
    {
        return Error { Error::Kind::Unsupported, "no encoder", kAudioFileUnsupportedDataFormatError };
    }
};

/// The backend of this process. Which one that is, the program chooses when it is linked (see ffmpeg/MediaBackend.h).
AudioBackend& installedAudioBackend();
/// The backend that the functions of this folder use: the installed one; a test sets one of its own, null undoes it.
AudioBackend& audioBackend();
void setAudioBackendForTesting(AudioBackend* backend);

} // namespace mv
