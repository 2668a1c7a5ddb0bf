#pragma once

#include "id3/MpegHeader.h"

#include <array>

namespace mv {

/// The windows of a granule of layer III; those of two granules in a row have to fit (ISO 11172-3, 2.4.3.4.10.3).
enum class BlockType : std::uint8_t { Long, Start, Short, Stop };

/// True where what `before` fades out with is what `after` fades in with.
constexpr bool canFollow(BlockType before, BlockType after)
{
    bool endsShort = before == BlockType::Start || before == BlockType::Short;
    bool beginsShort = after == BlockType::Short || after == BlockType::Stop;
    return endsShort == beginsShort;
}

/// One channel of one granule.
struct GranuleFacts {
    std::uint16_t bits = 0; ///< of its scale factors and values together
    std::uint8_t globalGain = 0; ///< quarters of 6 dB
    BlockType blockType = BlockType::Long;
    bool isMixed = false; ///< its lowest bands have a long window all the same
};

/// What stands in front of the main data of a frame of layer III.
struct Mp3FrameFacts {
    static constexpr std::size_t MaxChannels = 2;
    static constexpr std::size_t MaxGranules = 2;

    std::size_t size = 0; ///< bytes, from this header to the next
    std::size_t room = 0; ///< bytes for main data, its own or that of later frames, at its end
    std::size_t mainDataBegin = 0; ///< so many bytes of such room before this frame its own main data begin
    std::size_t channels = 0;
    std::size_t granules = 0;
    std::array<std::array<GranuleFacts, MaxChannels>, MaxGranules> parts {}; ///< by granule, then channel

    const std::array<GranuleFacts, MaxChannels>& lastGranule() const { return parts[granules - 1]; }

    /// Of the bytes that begin with a frame's header, as far as they are there. Nothing for what is no frame of layer
    /// III of a stated bit rate, for one cut off within its side information, or with a reserved window.
    static std::optional<Mp3FrameFacts> parse(const MpegHeader& header, ByteView bytes);
};

} // namespace mv
