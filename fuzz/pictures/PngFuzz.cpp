#include "fuzz/pictures/ReaderFuzz.h"
#include "pictures/PngReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return mv::fuzz::decodeWith<mv::PngReader>(data, size);
}
