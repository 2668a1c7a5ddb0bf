// Any bytes as facts between two processes: what is taken gives the same bytes again.
#include "service/job/FactsCode.h"

#include <algorithm>
#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::ByteView bytes(data, size);
    auto facts = mv::decodeFacts(bytes);
    if (!facts)
        return 0;
    mv::Bytes again;
    mv::encodeFacts(*facts, again);
    if (!std::ranges::equal(again, bytes))
        std::abort();
    return 0;
}
