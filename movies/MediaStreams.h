#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Media/Orientation.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>
#include <vector>

namespace mv {

/// What FFmpeg tells of the streams of a file: zeros and empty texts for what is not known.
struct MediaStreams {
    struct Sound {
        std::string codec; ///< FFmpeg's short name
        std::uint32_t sampleRate = 0; ///< Hz
        std::uint32_t channels = 0;
        std::uint32_t bitsPerSample = 0; ///< of lossless formats
        std::uint64_t bitrate = 0; ///< bit/s, as the stream states it
    };
    struct Pictures {
        std::string codec;
        std::uint32_t width = 0; ///< as stored
        std::uint32_t height = 0;
        double frameRate = 0; ///< a second, on average
        Orientation orientation;
    };
    struct Cover {
        std::string description;
        Bytes data; ///< empty unless asked for
    };

    std::optional<Sound> sound; ///< the first stream of sound
    std::optional<Pictures> pictures; ///< the movie's; covers are none
    std::int64_t length = 0; ///< microseconds
    /// FFmpeg's names of tags and their texts, as the container has them; not checked.
    std::vector<std::pair<std::string, std::string>> tags;
    std::vector<Cover> covers;
    std::uint64_t coverBytes = 0; ///< of all of the file, copied or not
};

} // namespace mv
