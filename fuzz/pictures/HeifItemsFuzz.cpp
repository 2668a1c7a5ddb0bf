// What the boxes of a HEIC or AVIF file say of its items.
#include "pictures/HeifItems.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr std::uint64_t MaxPiece = 1 << 16;
    mv::MemorySource source(mv::ByteView(data, size));
    auto items = mv::HeifItems::read(source);
    if (!items)
        return 0;
    for (std::uint32_t item = 0; item < 8; ++item) {
        if (!items->areTurnedAlike(item, item))
            std::abort();
        (void)items->areTurnedAlike(items->primary(), item);
        if (items->firstPieceOf(item, source, MaxPiece).size() > size)
            std::abort();
    }
    return 0;
}
