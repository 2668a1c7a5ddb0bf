#pragma once

#include "movies/MovieTypes.h"

#include <cmath>

namespace mv {

using QTTime = MovieTime;

/// The scale of times made from seconds.
inline constexpr std::int32_t QTDefaultTimeScale = 1'000'000;

/// The time in seconds; false, with `seconds` left alone, when it cannot be converted.
inline bool QTGetTimeInterval(QTTime time, double* seconds)
{
    auto value = secondsOf(time);
    if (value)
        *seconds = *value;
    return value.has_value();
}

/// To the nearest microsecond.
inline QTTime QTMakeTimeWithTimeInterval(double seconds)
{
    return { std::llround(seconds * QTDefaultTimeScale), QTDefaultTimeScale };
}

} // namespace mv
