#include "audio/AacStream.h"

#include <algorithm>
#include <cstdlib>

namespace mv {

namespace {

// How much it counts, beside bytes, that two packets differ at all, and that a moment is so lively that its windows
// are not the long ones.
constexpr long DifferenceWeight = 16;
constexpr long LivelyWeight = 64;

// Packets on each side of a joint that are looked at. An encoder's very first is none of them: it has heard the half of
// its sound.
constexpr std::size_t Neighbours = 2;

bool areEqual(const AacStream& one, const AacStream& other, std::size_t number)
{
    return std::ranges::equal(one.packet(number), other.packet(number));
}

bool canFollow(const AacStream& earlier, const AacStream& later, std::size_t before)
{
    return areEqual(earlier, later, before)
        || (earlier.windows(before) && earlier.windows(before) == later.windows(before));
}

long difference(const AacStream& one, const AacStream& other, std::size_t number)
{
    if (areEqual(one, other, number))
        return 0;
    auto sizes = static_cast<long>(one.packet(number).size()) - static_cast<long>(other.packet(number).size());
    bool isCalm = one.windows(number) && one.windows(number)->sequence == AacWindows::Sequence::Long
        && one.windows(number) == other.windows(number);
    return DifferenceWeight + std::labs(sizes) + (isCalm ? 0 : LivelyWeight);
}

/// Of the packets on both sides of a joint.
long differenceAround(const AacStream& earlier, const AacStream& later, std::size_t joint)
{
    long sum = 0;
    for (std::size_t number = joint - Neighbours; number < joint + Neighbours; ++number)
        sum += difference(earlier, later, number);
    return sum;
}

} // namespace

void AacStream::append(ByteView packet)
{
    m_packets.push_back({ Bytes(packet.begin(), packet.end()), aacWindowsOf(packet, m_channels) });
}

std::optional<std::size_t> findAacJoint(
    const AacStream& earlier, const AacStream& later, std::size_t begin, std::size_t end)
{
    std::optional<std::size_t> best;
    long least = 0;
    begin = std::max({ begin, earlier.first() + Neighbours, later.first() + Neighbours });
    const std::size_t last = std::min(earlier.end(), later.end());
    for (std::size_t number = begin; number < end && number + Neighbours <= last; ++number) {
        if (!canFollow(earlier, later, number - 1))
            continue;
        long sum = differenceAround(earlier, later, number);
        if (!best || sum < least) {
            best = number;
            least = sum;
        }
    }
    return best;
}

} // namespace mv
