#pragma once

#include <chrono>
#include <compare>
#include <cstdint>
#include <ctime>

namespace mv {

/// A moment: microseconds since 1970-01-01 00:00:00 UTC, negative before it.
struct Date {
    std::int64_t microseconds = 0;

    static Date now()
    {
        auto sinceEpoch = std::chrono::system_clock::now().time_since_epoch();
        return { std::chrono::duration_cast<std::chrono::microseconds>(sinceEpoch).count() };
    }
    static Date fromTimespec(std::int64_t seconds, std::int64_t nanoseconds)
    {
        return { seconds * 1'000'000 + nanoseconds / 1000 };
    }
    static Date fromSeconds(std::int64_t seconds) { return { seconds * 1'000'000 }; }

    auto operator<=>(const Date&) const = default;
};

} // namespace mv
