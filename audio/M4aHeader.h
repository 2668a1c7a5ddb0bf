#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <vector>

namespace mv {

/// What an AAC track in an MPEG-4 audio file has to tell.
struct M4aTrack {
    std::uint32_t sampleRate = 0; ///< Hz
    std::uint32_t channels = 0;
    std::uint32_t bitRate = 0; ///< bit/s that the encoder was asked for
    Bytes audioSpecificConfig; ///< the decoder's configuration
    std::uint32_t framesPerPacket = 0;
    std::uint64_t primingFrames = 0; ///< decoded before the first frame that is to be heard
    std::uint64_t frames = 0; ///< to be heard
    std::uint32_t moreRoom = 0; ///< bytes of room for metadata beside M4aMetadataRoom
    std::vector<std::uint32_t> packetSizes; ///< bytes, in order; the packets lie without gaps
};

/// Room behind the movie header for tags that come later: titles and a small cover fit without moving the audio.
inline constexpr std::uint32_t M4aMetadataRoom = 8192;

/// Everything of an MPEG-4 audio file (brand 'M4A ') that comes before the packets themselves: file type, movie
/// header, metadata room, and the header of the media data. Times are in frames of the track, so the edit list is
/// exact: it leaves out priming and padding.
Bytes m4aHeader(const M4aTrack& track);

} // namespace mv
