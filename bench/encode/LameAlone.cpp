// bench_lame_alone INPUT: decodes a file into memory, then runs nothing but the encoding library over it, with the
// settings and blocks of the encoder's defaults. Prints wall and CPU seconds of that: what no program that calls the
// library from one thread can beat.

#include "bench/encode/Stopwatch.h"
#include "service/transcode/CoreAudioDecoder.h"
#include "service/transcode/EncodingPipeline.h"
#include "service/transcode/SampleConversion.h"

#include <algorithm>
#include <array>
#include <vector>

using namespace mv;

namespace {

using Sound = std::vector<std::array<std::vector<int>, 2>>;

Sound decode(CoreAudioDecoder& decoder)
{
    constexpr std::uint32_t Frames = MaxFrameSize;
    Sound sound;
    Bytes block(Frames * 8);
    SampleBlock samples {};
    while (true) {
        AudioBufferList list { 1, { { 2, static_cast<std::uint32_t>(block.size()), block.data() } } };
        auto frames = static_cast<std::uint32_t>(std::max(0, decoder.readPCMSampleCount(&list, Frames)));
        if (frames == 0)
            return sound;
        buildSampleBlock(block, list.mBuffers[0].mDataByteSize, frames, samples);
        sound.push_back(
            { std::vector<int>(samples[0], samples[0] + frames), std::vector<int>(samples[1], samples[1] + frames) });
    }
}

bool encode(const Sound& sound, int rate)
{
    constexpr int DefaultKbps = 192;
    constexpr int DefaultQuality = 5;
    const LameLibrary library;
    lame_t lame = library.init();
    library.setOutSamplerate(lame, rate);
    library.setVBR(lame, vbr_off);
    library.setBrate(lame, DefaultKbps);
    library.setNumChannels(lame, 2);
    library.setInSamplerate(lame, rate);
    library.setMode(lame, STEREO);
    library.setQuality(lame, DefaultQuality);
    library.setWriteVbrTag(lame, 1);
    bool fine = library.initParams(lame) >= 0;
    static std::array<unsigned char, Mp3BufferSize> mp3;
    for (const auto& block : sound)
        fine = library.encodeBufferInt(lame, block[0].data(), block[1].data(), static_cast<int>(block[0].size()),
                   mp3.data(), static_cast<int>(mp3.size()))
                >= 0
            && fine;
    fine = library.encodeFlush(lame, mp3.data(), static_cast<int>(mp3.size())) >= 0 && fine;
    library.close(lame);
    return fine;
}

} // namespace

int main(int count, char** arguments)
{
    CoreAudioDecoder decoder;
    if (count != 2 || !decoder.prepareWithPath(OpenedFile::at(arguments[1])))
        return 2;
    Sound sound = decode(decoder);
    Stopwatch watch;
    if (!encode(sound, decoder.pcmFormat().samplerate))
        return 1;
    watch.print();
    return 0;
}
