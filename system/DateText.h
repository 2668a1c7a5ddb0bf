#pragma once

#include "Base/Core/Date.h"

#include <chrono>
#include <optional>
#include <string_view>

namespace mv {

/// What a calendar and a clock on the wall show.
struct WallTime {
    std::chrono::year_month_day day {};
    std::chrono::microseconds sinceMidnight {};
};

/// The moment at which a wall in the local zone shows that time: the zone of the process (TZ, else the system's), and
/// nothing else, decides. Of a time that comes twice, as clocks are put back, the first; a time that never comes, as
/// clocks are put forward, counts on from the last one that did (02:30 is 03:30).
Date dateFromLocalTime(const WallTime& time);

// Texts that say when something was made. All are strict: every number has its digits and is in range (month 13, day
// 31 of April and hour 24 do not parse), nothing stands before or behind. Blanks in front of a number's first digit,
// or in place of all of its digits, count as zeros. Independent of the locale.

/// The pattern "yyyy:MM:dd HH:mm:ss", local time.
std::optional<Date> dateFromExifText(std::string_view text);

/// The pattern "yyyy-MM-dd HH:mm:ss" with a T or a blank in its middle, then maybe a fraction of the second, then
/// maybe a zone (Z, +hh, +hhmm, +hh:mm); local time without one. Cameras' forms count too: without seconds, with AM
/// or PM behind them, with a slash behind the day.
std::optional<Date> dateFromMetadataText(std::string_view text);

} // namespace mv
