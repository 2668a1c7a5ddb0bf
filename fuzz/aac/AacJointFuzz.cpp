// Any bytes as what two encoders have made: the first byte says how many channels there are and where the second stream
// begins, then come packets behind a byte that says how large each is and for which stream. A joint lies in both
// streams, between packets that fit.

#include "audio/AacStream.h"

#include <algorithm>
#include <cstdlib>

using namespace mv;

namespace {

void check(bool isWell)
{
    if (!isWell)
        std::abort();
}

void checkJoint(const AacStream& earlier, const AacStream& later, std::size_t joint)
{
    check(earlier.contains(joint) && later.contains(joint) && earlier.contains(joint - 1) && later.contains(joint - 1));
    bool areEqual = std::ranges::equal(earlier.packet(joint - 1), later.packet(joint - 1));
    check(areEqual || (earlier.windows(joint - 1) && earlier.windows(joint - 1) == later.windows(joint - 1)));
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    std::uint32_t channels = data[0] % 4;
    AacStream earlier(3, channels);
    AacStream later(3 + data[0] / 64, channels);
    ByteView rest { data + 1, size - 1 };
    while (!rest.empty()) {
        std::size_t length = std::min<std::size_t>(rest[0] / 2, rest.size() - 1);
        (rest[0] % 2 == 0 ? earlier : later).append(rest.subspan(1, length));
        rest = rest.subspan(1 + length);
    }
    for (std::size_t begin : { std::size_t { 0 }, earlier.end() / 2 }) {
        if (auto joint = findAacJoint(earlier, later, begin, earlier.end()))
            checkJoint(earlier, later, *joint);
    }
    return 0;
}
