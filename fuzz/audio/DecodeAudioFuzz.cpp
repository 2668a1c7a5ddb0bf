// Decodes a file of any bytes through the extended audio file functions: containers, packets, lengths, gaps,
// conversion.

#include "fuzz/audio/VorbisLeaks.h"
#include "platform/ExtAudioFile.h"

#include <algorithm>
#include <cstdlib>
#include <vector>

using namespace mv;

namespace {

/// A few bytes can stand for hours of silence; the fuzzer looks at the beginning.
constexpr int MaxReads = 400;
constexpr std::uint32_t FramesARead = 1152;

template <class T> T property(ExtAudioFileRef file, std::uint32_t id)
{
    T value {};
    std::uint32_t size = sizeof value;
    if (ExtAudioFileGetProperty(file, id, &size, &value) != noErr || size != sizeof value)
        std::abort();
    return value;
}

void readAll(ExtAudioFileRef file)
{
    auto client = property<AudioStreamBasicDescription>(file, kExtAudioFileProperty_ClientDataFormat);
    auto announced = property<std::int64_t>(file, kExtAudioFileProperty_FileLengthFrames);
    std::vector<std::uint8_t> block(std::size_t { FramesARead } * client.mBytesPerFrame);
    std::int64_t delivered = 0;
    bool ended = false;
    for (int i = 0; i < MaxReads; ++i) {
        AudioBufferList list { 1, { { 2, static_cast<std::uint32_t>(block.size()), block.data() } } };
        std::uint32_t frames = FramesARead;
        OSStatus status = ExtAudioFileRead(file, &frames, &list);
        if (frames > FramesARead || list.mBuffers[0].mDataByteSize != frames * client.mBytesPerFrame)
            std::abort();
        delivered += frames;
        ended = status == noErr && frames == 0;
        if (status != noErr || frames == 0)
            break;
    }
    if (ended ? delivered != std::max<std::int64_t>(0, announced) : delivered > announced)
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    ExtAudioFileRef file = nullptr;
    OpenedFile sound("sound", FileAttributes {}, sourceOfBytes(Bytes(data, data + size)));
    OSStatus status = ExtAudioFileOpenURL(sound, &file);
    if ((status == noErr) != (file != nullptr))
        std::abort();
    if (!file)
        return 0;
    // The size picks a client format: the default one, stereo 32-bit integers, or floats.
    auto format = property<AudioStreamBasicDescription>(file, kExtAudioFileProperty_FileDataFormat);
    auto stereo = linearPcm(0, 2, 32, kAudioFormatFlagIsSignedInteger);
    auto floats = linearPcm(0, format.mChannelsPerFrame, 32, kAudioFormatFlagIsFloat);
    const auto* wanted = size % 3 == 0 ? nullptr : size % 3 == 1 ? &stereo : &floats;
    if (wanted
        && ExtAudioFileSetProperty(file, kExtAudioFileProperty_ClientDataFormat, sizeof *wanted, wanted) != noErr)
        std::abort();
    readAll(file);
    if (ExtAudioFileDispose(file) != noErr)
        std::abort();
    return 0;
}
