#pragma once

#include "audio/AacWindows.h"

#include <vector>

namespace mv {

/// Packets of AAC as an encoder makes them, with the numbers that they have in a longer stream. Each has all bits of
/// its own; a decoder adds the second half of its sound to the first half of the next one's.
class AacStream {
public:
    /// The first packet has the number `first`.
    AacStream(std::size_t first, std::uint32_t channels)
        : m_first(first)
        , m_channels(channels)
    {
    }

    void append(ByteView packet);

    /// Numbers of the first packet and of the one behind the last.
    std::size_t first() const { return m_first; }
    std::size_t end() const { return m_first + m_packets.size(); }
    bool contains(std::size_t number) const { return number >= first() && number < end(); }
    /// Of a packet that it contains.
    ByteView packet(std::size_t number) const { return m_packets[number - m_first].bytes; }
    const std::optional<AacWindows>& windows(std::size_t number) const { return m_packets[number - m_first].windows; }

private:
    struct Packet {
        Bytes bytes;
        std::optional<AacWindows> windows;
    };

    std::size_t m_first;
    std::uint32_t m_channels;
    std::vector<Packet> m_packets;
};

/// The number of a packet from `begin` on and before `end` at which `later` can take over from `earlier`, both made of
/// the same sound: the packets before it are the one's, it and those behind it the other's. Nothing where there is
/// none.
///
/// The packets before it are equal in both streams, or have the same windows: what fades out fits what fades in, as it
/// does in the later stream. Of several the one around which both streams are most alike.
std::optional<std::size_t> findAacJoint(
    const AacStream& earlier, const AacStream& later, std::size_t begin, std::size_t end);

} // namespace mv
