#pragma once

#include "platform/ExtAudioFile.h"

namespace mv {

/// The platform calls that decoder, encoder and file wrapper make, one for one, so that a test can make any of them
/// fail.
class AudioFileFunctions {
public:
    virtual ~AudioFileFunctions() = default;
    virtual OSStatus makeRef(const OpenedFile& file, FSRef& ref) const { return FSPathMakeRef(file, ref); }
    virtual OSStatus open(const FSRef& ref, ExtAudioFileRef* file) const { return ExtAudioFileOpen(ref, file); }
    virtual OSStatus openURL(const OpenedFile& url, ExtAudioFileRef* file) const
    {
        return ExtAudioFileOpenURL(url, file);
    }
    virtual OSStatus create(OutputPlace& url, std::uint32_t fileType, const AudioStreamBasicDescription& description,
        std::uint32_t flags, ExtAudioFileRef* file) const
    {
        return ExtAudioFileCreateWithURL(url, fileType, description, nullptr, flags, file);
    }
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
    virtual OSStatus write(ExtAudioFileRef file, std::uint32_t frames, const AudioBufferList* data) const
    {
        return ExtAudioFileWrite(file, frames, data);
    }
    virtual OSStatus setConverterProperty(
        AudioConverterRef converter, std::uint32_t property, std::uint32_t size, const void* data) const
    {
        return AudioConverterSetProperty(converter, property, size, data);
    }
    virtual OSStatus dispose(ExtAudioFileRef file) const { return ExtAudioFileDispose(file); }
};

} // namespace mv
