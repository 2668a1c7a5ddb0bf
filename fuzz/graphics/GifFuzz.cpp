#include "fuzz/graphics/ReaderFuzz.h"
#include "platform/graphics/GifReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return mv::fuzz::decodeWith<mv::GifReader>(data, size);
}
