#pragma once

#include "platform/audio/ExtAudioFile.h"

namespace mv {

/// One open extended audio file; the functions of ExtAudioFile.h check their arguments and call these. Files for
/// reading and for writing override what they can do.
class ExtAudioFile {
public:
    virtual ~ExtAudioFile() = default;
    virtual AudioStreamBasicDescription fileDataFormat() const = 0;
    virtual AudioStreamBasicDescription clientDataFormat() const = 0;
    virtual OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) = 0;
    virtual std::int64_t fileLengthFrames() const = 0;
    /// Null when there is none (yet).
    virtual AudioConverterRef audioConverter() = 0;
    /// `data` has at least one buffer with memory.
    virtual OSStatus read(std::uint32_t& frames, AudioBufferList& data);
    virtual OSStatus write(std::uint32_t frames, const AudioBufferList& data);
    /// Called once, before the destructor.
    virtual OSStatus finish() { return noErr; }
};

} // namespace mv
