#pragma once

#include <cmath>
#include <cstdint>

namespace mv {

/// A time or a duration: timeValue units of 1/timeScale second. A scale of 0 means that there is no time.
struct QTTime {
    std::int64_t timeValue = 0;
    std::int32_t timeScale = 0;

    bool operator==(const QTTime&) const = default;
};

/// The scale of times made from seconds.
inline constexpr std::int32_t QTDefaultTimeScale = 1'000'000;

/// The time in seconds; false, with `seconds` left alone, when it cannot be converted.
inline bool QTGetTimeInterval(QTTime time, double* seconds)
{
    if (time.timeScale <= 0)
        return false;
    *seconds = static_cast<double>(time.timeValue) / time.timeScale;
    return true;
}

/// To the nearest microsecond.
inline QTTime QTMakeTimeWithTimeInterval(double seconds)
{
    return { std::llround(seconds * QTDefaultTimeScale), QTDefaultTimeScale };
}

} // namespace mv
