#include "platform/ExtAudioFile.h"

#include "audio/AudioFileReader.h"
#include "audio/AudioFileWriter.h"

#include <cstring>

namespace mv {

namespace {

template <class T> OSStatus giveProperty(const T& value, std::uint32_t* size, void* data)
{
    if (*size < sizeof(T))
        return kExtAudioFileError_InvalidPropertySize;
    std::memcpy(data, &value, sizeof(T));
    *size = sizeof(T);
    return noErr;
}

} // namespace

OSStatus ExtAudioFileOpen(const FSRef& ref, ExtAudioFileRef* file) { return ExtAudioFileOpenURL(ref.file, file); }

OSStatus ExtAudioFileOpenURL(const OpenedFile& url, ExtAudioFileRef* file)
{
    if (!file)
        return paramErr;
    *file = nullptr;
    if (url.path().isNil())
        return paramErr;
    if (!url.content())
        return statusOfKind(url.content().error().kind);
    auto reader = AudioFileReader::open(*url.content());
    if (!reader)
        return reader.error().code;
    *file = reader->release();
    return noErr;
}

OSStatus ExtAudioFileCreateWithURL(OutputPlace& url, std::uint32_t fileType,
    const AudioStreamBasicDescription& description, const void*, std::uint32_t flags, ExtAudioFileRef* file)
{
    if (!file)
        return paramErr;
    *file = nullptr;
    if (url.path().isNil())
        return paramErr;
    if ((flags & kAudioFileFlags_EraseFile) == 0 && url.attributes().ok())
        return kAudioFilePermissionsError;
    auto writer = AudioFileWriter::create(url, fileType, description);
    if (!writer)
        return writer.error().code;
    *file = writer->release();
    return noErr;
}

OSStatus ExtAudioFileGetProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t* size, void* data)
{
    if (!file || !size || !data)
        return paramErr;
    switch (property) {
    case kExtAudioFileProperty_FileDataFormat:
        return giveProperty(file->fileDataFormat(), size, data);
    case kExtAudioFileProperty_ClientDataFormat:
        return giveProperty(file->clientDataFormat(), size, data);
    case kExtAudioFileProperty_FileLengthFrames:
        return giveProperty(file->fileLengthFrames(), size, data);
    case kExtAudioFileProperty_AudioConverter:
        return giveProperty(file->audioConverter(), size, data);
    default:
        return kExtAudioFileError_InvalidProperty;
    }
}

OSStatus ExtAudioFileSetProperty(ExtAudioFileRef file, std::uint32_t property, std::uint32_t size, const void* data)
{
    if (!file || !data)
        return paramErr;
    if (property != kExtAudioFileProperty_ClientDataFormat)
        return kExtAudioFileError_InvalidProperty;
    AudioStreamBasicDescription format;
    if (size != sizeof format)
        return kExtAudioFileError_InvalidPropertySize;
    std::memcpy(&format, data, sizeof format);
    return file->setClientDataFormat(format);
}

OSStatus ExtAudioFileRead(ExtAudioFileRef file, std::uint32_t* frames, AudioBufferList* data)
{
    if (!file || !frames || !data || data->mNumberBuffers == 0 || !data->mBuffers[0].mData)
        return paramErr;
    return file->read(*frames, *data);
}

OSStatus ExtAudioFileWrite(ExtAudioFileRef file, std::uint32_t frames, const AudioBufferList* data)
{
    if (!file || !data || data->mNumberBuffers == 0 || !data->mBuffers[0].mData)
        return paramErr;
    return file->write(frames, *data);
}

OSStatus ExtAudioFileDispose(ExtAudioFileRef file)
{
    if (!file)
        return paramErr;
    std::unique_ptr<AudioFile> owned(file);
    return owned->finish();
}

} // namespace mv
