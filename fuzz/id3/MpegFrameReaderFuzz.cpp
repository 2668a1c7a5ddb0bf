// Any bytes as MPEG audio: the facts are possible ones, and the first frame lies inside.

#include "id3/MpegFrameReader.h"

#include <cmath>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::MemorySource source({ data, size });
    std::uint64_t begin = size > 0 ? data[0] % 8 : 0;
    auto facts = mv::MpegFrameReader::read(source, begin, size);
    if (!facts)
        return 0;
    bool sane = facts->firstFrame >= begin && facts->firstFrame < size && std::isfinite(facts->seconds)
        && facts->seconds >= 0 && facts->wholeSeconds() >= 0 && facts->header.sampleRate >= 8000
        && facts->header.sampleRate <= 48000 && facts->header.bitrate > 0 && facts->header.bitrate <= 641'000;
    if (!sane)
        std::abort();
    return 0;
}
