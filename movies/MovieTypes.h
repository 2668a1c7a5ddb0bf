#pragma once

#include "Base/Core/ByteReader.h"

#include <cstdint>
#include <optional>
#include <vector>

namespace mv {

/// A time or a duration: timeValue units of 1/timeScale second. A scale of 0 means that there is no time.
struct MovieTime {
    std::int64_t timeValue = 0;
    std::int32_t timeScale = 0;

    bool operator==(const MovieTime&) const = default;
};

/// Nothing when the time cannot be converted.
inline std::optional<double> secondsOf(MovieTime time)
{
    if (time.timeScale <= 0)
        return std::nullopt;
    return static_cast<double>(time.timeValue) / time.timeScale;
}

/// Pixels, fractions allowed.
struct PixelSize {
    float width = 0;
    float height = 0;

    bool operator==(const PixelSize&) const = default;
};

/// The media of a track.
struct TrackMedia {
    FourCC type = 0; ///< 'vide', 'soun', 'text' ...
    /// The data format codes of the sample descriptions, in their order. Files can list thousands: those past
    /// MaxSampleDescriptions are left out.
    std::vector<FourCC> sampleDescriptions;

    bool operator==(const TrackMedia&) const = default;
};

struct MovieTrack {
    bool isEnabled = true;
    TrackMedia media;

    bool operator==(const MovieTrack&) const = default;
};

/// A track's sample descriptions are codec changes within it: one or two in practice.
inline constexpr std::size_t MaxSampleDescriptions = 256;

} // namespace mv
