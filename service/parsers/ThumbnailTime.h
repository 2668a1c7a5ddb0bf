#pragma once

namespace mv {

/// Where the thumbnail of a video is taken, in seconds. Deliberate: the first is a single-precision value, and a short
/// clip is asked for a frame at or past its end, which has none, so that its poster serves.
constexpr double thumbnailTime(double duration)
{
    constexpr double LongVideo = 100.0;
    constexpr double LongVideoTime = 10.8f;
    constexpr double ShortVideo = 3.0;
    constexpr double MediumVideoTime = 1.0;
    constexpr double ShortVideoTime = 3.0;
    if (duration > LongVideo)
        return LongVideoTime;
    return duration > ShortVideo ? MediumVideoTime : ShortVideoTime;
}

} // namespace mv
