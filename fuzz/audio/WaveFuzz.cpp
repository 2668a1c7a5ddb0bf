// Any bytes behind the start of a WAVE file: what our own reader takes, it must decode as FFmpeg does.
#include "audio/WaveSource.h"
#include "tests/audio/DecodedSource.h"

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <utility>

using namespace mv;

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::size_t HeadSize = 12;
    Bytes file(data, data + size);
    file.resize(std::max(size, HeadSize));
    std::memcpy(file.data(), "RIFF\xFF\xFF\xFF\x7FWAVE", HeadSize);
    SharedSource source = sourceOfBytes(std::move(file));
    auto ours = WaveSource::open(source);
    if (!ours)
        return 0;
    auto theirs = audioBackend().openSource(source);
    // Other chunks are damaged, which does not concern us; there may be an MP3 between them.
    if (!theirs || (*theirs)->format().description.mFormatID != kAudioFormatLinearPCM)
        return 0;
    test::DecodedSource one(*ours);
    test::DecodedSource other(**theirs);
    if (!one.ended || !other.ended || one.format.description != other.format.description
        || one.format.channelMask != other.format.channelMask || one.format.frames != other.format.frames
        || one.samples != other.samples || (!one.samples.empty() && one.kind != other.kind))
        std::abort();
    return 0;
}
