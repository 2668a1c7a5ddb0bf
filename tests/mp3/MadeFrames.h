#pragma once

#include "mp3/FrameStream.h"

namespace mv::test {

/// What a made frame of 128 kbit/s at 44.1 kHz, stereo, says of itself.
struct MadeFrame {
    std::size_t mainDataBegin = 0;
    BlockType first = BlockType::Long; ///< of its first granule, both channels
    BlockType second = BlockType::Long;
    std::uint8_t gain = 0;
    std::uint8_t filling = 0; ///< all its room
};

inline constexpr std::size_t MadeRoom = 417 - 4 - 32;

inline Bytes madeFrame(const MadeFrame& made)
{
    std::string bits;
    auto put = [&bits](std::size_t value, int count) {
        while (count-- > 0)
            bits += (value >> count & 1) != 0 ? '1' : '0';
    };
    put(made.mainDataBegin, 9);
    put(0, 3 + 8);
    for (BlockType type : { made.first, made.first, made.second, made.second }) {
        put(0, 12 + 9);
        put(made.gain, 8);
        put(0, 4);
        put(type != BlockType::Long, 1);
        if (type != BlockType::Long)
            put(static_cast<std::size_t>(type), 2);
        put(0, type != BlockType::Long ? 20 : 22);
        put(1, 3);
    }
    Bytes frame { 0xff, 0xfb, 0x90, 0x44 };
    for (std::size_t i = 0; i < bits.size(); i += 8)
        frame.push_back(static_cast<std::uint8_t>(std::stoi(bits.substr(i, 8), nullptr, 2)));
    frame.resize(frame.size() + MadeRoom, made.filling);
    return frame;
}

inline Mp3FrameStream madeStream(std::size_t first, const std::vector<MadeFrame>& frames)
{
    Mp3FrameStream stream(first);
    for (const MadeFrame& made : frames)
        stream.append(madeFrame(made));
    return stream;
}

} // namespace mv::test
