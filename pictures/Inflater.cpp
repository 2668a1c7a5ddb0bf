#include "pictures/Inflater.h"

namespace mv {

Bytes inflateWhole(ByteView compressed, std::size_t limit)
{
    constexpr std::size_t Step = 64u << 10;
    Inflater inflater;
    inflater.giveInput(compressed);
    Bytes result;
    for (;;) {
        std::size_t before = result.size();
        if (before > limit)
            return {};
        result.resize(before + Step);
        std::size_t count = inflater.inflate({ &result[before], Step });
        result.resize(before + count);
        if (count == 0)
            return result;
    }
}

} // namespace mv
