#include "mp3/FrameJoint.h"

#include <algorithm>
#include <cstdlib>

namespace mv {

namespace {

/// What encoders fill room with that they have no use for.
constexpr std::uint8_t Filling = 0x55;

// How much a difference counts. A step of gain is 1.5 dB; a whole block type more weighs as much as any gain.
constexpr long GainWeight = 16;
constexpr long BlockTypeWeight = 1 << 14;
constexpr long ShortWeight = 1 << 12;

bool windowsFit(const Mp3FrameFacts& before, const Mp3FrameFacts& after)
{
    for (std::size_t channel = 0; channel < after.channels; ++channel) {
        const GranuleFacts& last = before.lastGranule()[channel];
        const GranuleFacts& next = after.parts[0][channel];
        if (!canFollow(last.blockType, next.blockType) || last.isMixed || next.isMixed)
            return false;
    }
    return true;
}

bool hasRoom(const Mp3FrameStream& stream, std::size_t from, std::size_t number)
{
    std::size_t wanted = stream.facts(number).mainDataBegin;
    std::size_t room = 0;
    while (room < wanted && number > from)
        room += stream.facts(--number).room;
    return room >= wanted;
}

long difference(const Mp3FrameFacts& one, const Mp3FrameFacts& other)
{
    long sum = std::labs(static_cast<long>(one.size) - static_cast<long>(other.size));
    for (std::size_t granule = 0; granule < one.granules; ++granule) {
        for (std::size_t channel = 0; channel < one.channels; ++channel) {
            const GranuleFacts& here = one.parts[granule][channel];
            const GranuleFacts& there = other.parts[granule][channel];
            sum += GainWeight * std::abs(here.globalGain - there.globalGain) + std::abs(here.bits - there.bits);
            sum += here.blockType != there.blockType ? BlockTypeWeight : 0;
            sum += here.blockType != BlockType::Long ? ShortWeight : 0;
        }
    }
    return sum;
}

} // namespace

std::optional<std::size_t> findJoint(
    const Mp3FrameStream& earlier, const Mp3FrameStream& later, std::size_t kept, std::size_t begin, std::size_t end)
{
    std::optional<std::size_t> best;
    long least = 0;
    begin = std::max({ begin, later.first() + 1, kept + 1, earlier.first() + 1 });
    for (std::size_t number = begin; number < std::min({ end, earlier.end(), later.end() }); ++number) {
        const Mp3FrameFacts& here = earlier.facts(number);
        const Mp3FrameFacts& there = later.facts(number);
        if (here.mainDataBegin < there.mainDataBegin || here.granules != there.granules
            || here.channels != there.channels || !windowsFit(earlier.facts(number - 1), there)
            || !hasRoom(earlier, std::max(kept, earlier.first()), number) || !hasRoom(later, later.first(), number))
            continue;
        long sum = difference(here, there) + difference(earlier.facts(number - 1), later.facts(number - 1))
            + static_cast<long>(here.mainDataBegin - there.mainDataBegin);
        if (!best || sum < least) {
            best = number;
            least = sum;
        }
    }
    return best;
}

void joinAt(std::size_t joint, Mp3FrameStream& earlier, const Mp3FrameStream& later)
{
    std::size_t taken = later.facts(joint).mainDataBegin;
    Bytes data(earlier.facts(joint).mainDataBegin - taken, Filling);
    Bytes moved = later.mainDataBefore(joint, taken);
    data.insert(data.end(), moved.begin(), moved.end());
    earlier.replaceMainDataBefore(joint, data);
}

} // namespace mv
