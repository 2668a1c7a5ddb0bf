#include "fuzz/pictures/ReaderFuzz.h"
#include "pictures/BmpReader.h"

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    return mv::fuzz::decodeWith<mv::BmpReader>(data, size);
}
