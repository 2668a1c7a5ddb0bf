#pragma once

#include "audio/AudioConverter.h"
#include "audio/AudioStatus.h"
#include "audio/AudioStreamBasicDescription.h"

namespace mv {

inline constexpr std::uint32_t kAudioFileM4AType = fourCC("m4af");

struct AudioBuffer {
    std::uint32_t mNumberChannels = 0; ///< as the caller counts them; reading does not look at it
    std::uint32_t mDataByteSize = 0; ///< room on the way in, bytes delivered on the way out
    void* mData = nullptr;
};

/// Buffers of samples. Interleaved formats use one.
struct AudioBufferList {
    std::uint32_t mNumberBuffers = 0;
    AudioBuffer mBuffers[1];
};

/// One open audio file. Files for reading and for writing override what they can do.
class AudioFile {
public:
    virtual ~AudioFile() = default;
    virtual AudioStreamBasicDescription fileDataFormat() const = 0;
    virtual AudioStreamBasicDescription clientDataFormat() const = 0;
    virtual OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) = 0;
    virtual std::int64_t fileLengthFrames() const = 0;
    /// Null when there is none (yet).
    virtual AudioConverterRef audioConverter() = 0;
    /// `data` has at least one buffer with memory.
    virtual OSStatus read(std::uint32_t& /*frames*/, AudioBufferList& /*data*/)
    {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    virtual OSStatus write(std::uint32_t /*frames*/, const AudioBufferList& /*data*/)
    {
        return kExtAudioFileError_InvalidOperationOrder;
    }
    /// Called once, before the destructor.
    virtual OSStatus finish() { return noErr; }
};

} // namespace mv
