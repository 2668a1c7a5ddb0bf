#include "tests/soak/Mutator.h"

#include <algorithm>

namespace mv::test {

namespace {

std::size_t below(std::mt19937_64& random, std::size_t limit) { return limit ? random() % limit : 0; }

/// Half of the places lie in the first 4 KiB.
std::size_t place(std::mt19937_64& random, std::size_t size)
{
    return below(random, random() % 2 ? std::min<std::size_t>(size, 4096) : size);
}

} // namespace

Bytes mutated(const Bytes& original, std::mt19937_64& random)
{
    constexpr std::uint8_t Extremes[] = { 0x00, 0x01, 0x7F, 0x80, 0xFE, 0xFF };
    Bytes bytes = original;
    for (std::size_t edits = 1 + below(random, 8); edits > 0 && !bytes.empty(); --edits) {
        std::size_t at = place(random, bytes.size());
        std::size_t length = std::min<std::size_t>(1 + below(random, 16), bytes.size() - at);
        auto first = bytes.begin() + static_cast<std::ptrdiff_t>(at);
        auto last = first + static_cast<std::ptrdiff_t>(length);
        switch (below(random, 6)) {
        case 0:
        case 1:
            *first = static_cast<std::uint8_t>(random());
            break;
        case 2:
            std::fill(first, last, Extremes[below(random, std::size(Extremes))]);
            break;
        case 3:
            bytes.erase(first, last);
            break;
        case 4: {
            Bytes piece(first, last);
            bytes.insert(first, piece.begin(), piece.end());
            break;
        }
        case 5:
            if (below(random, 4) == 0)
                bytes.resize(at);
            break;
        }
    }
    return bytes;
}

} // namespace mv::test
