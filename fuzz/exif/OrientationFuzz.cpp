// What any file says of its orientation.
#include "exif/PictureOrientation.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::Orientation orientation = mv::orientationOf(mv::MemorySource({ data, size }));
    for (int value = 1; value <= 8; ++value) {
        if (orientation == mv::Orientation::fromTag(value))
            return 0;
    }
    std::abort();
}
