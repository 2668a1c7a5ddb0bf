// The scanners that find the length of FLAC and Ogg files, on any bytes.
#include "audio/StreamLength.h"
#include "fuzz/audio/VorbisLeaks.h"

#include <cstdlib>

namespace {

void check(const mv::Result<mv::StreamLength>& length)
{
    if (length.ok() && (length->sampleRate == 0 || length->channels == 0))
        std::abort();
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::MemorySource file { mv::ByteView(data, size) };
    check(mv::measureFlac(file));
    check(mv::measureOgg(file));
    check(mv::measureOggFlac(file));
    return 0;
}
