#pragma once

#include "platform/audio/ExtAudioFile.h"

namespace mv {

/// The platform calls that a decoder makes, one for one, so that a test can make any of them fail.
class AudioFileFunctions {
public:
    virtual ~AudioFileFunctions() = default;
    virtual OSStatus makeRef(const Path& path, FSRef& ref) const { return FSPathMakeRef(path, ref); }
    virtual OSStatus open(const FSRef& ref, ExtAudioFileRef* file) const { return ExtAudioFileOpen(ref, file); }
    virtual OSStatus getProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t* size, void* data) const
    {
        return ExtAudioFileGetProperty(file, property, size, data);
    }
    virtual OSStatus setProperty(
        ExtAudioFileRef file, std::uint32_t property, std::uint32_t size, const void* data) const
    {
        return ExtAudioFileSetProperty(file, property, size, data);
    }
    virtual OSStatus read(ExtAudioFileRef file, std::uint32_t* frames, AudioBufferList* data) const
    {
        return ExtAudioFileRead(file, frames, data);
    }
    virtual OSStatus dispose(ExtAudioFileRef file) const { return ExtAudioFileDispose(file); }
};

} // namespace mv
