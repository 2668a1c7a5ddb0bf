#include "tests/audio/DecodedFile.h"

namespace mv::test {

namespace {

template <class T> T property(ExtAudioFileRef handle, std::uint32_t id)
{
    T value {};
    std::uint32_t size = sizeof value;
    ExtAudioFileGetProperty(handle, id, &size, &value);
    return value;
}

} // namespace

DecodedFile::DecodedFile(const std::string& path, const AudioStreamBasicDescription* wanted)
{
    ExtAudioFileRef handle = nullptr;
    opened = ExtAudioFileOpenURL(OpenedFile::at(path), &handle);
    if (opened != noErr)
        return;
    if (wanted)
        ended = ExtAudioFileSetProperty(handle, kExtAudioFileProperty_ClientDataFormat, sizeof *wanted, wanted);
    file = property<AudioStreamBasicDescription>(handle, kExtAudioFileProperty_FileDataFormat);
    client = property<AudioStreamBasicDescription>(handle, kExtAudioFileProperty_ClientDataFormat);
    announced = property<std::int64_t>(handle, kExtAudioFileProperty_FileLengthFrames);
    Bytes block(client.mBytesPerFrame * 1000u);
    while (ended == noErr) {
        AudioBufferList list { 1, { { 1, static_cast<std::uint32_t>(block.size()), block.data() } } };
        std::uint32_t frames = 1000;
        ended = ExtAudioFileRead(handle, &frames, &list);
        if (frames == 0)
            break;
        delivered += frames;
        samples.insert(samples.end(), block.begin(), block.begin() + list.mBuffers[0].mDataByteSize);
    }
    ExtAudioFileDispose(handle);
}

} // namespace mv::test
