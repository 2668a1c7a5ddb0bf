#include "platform/system/NSDateFormatter.h"

#include <ctime>

namespace mv {

namespace {

/// `digits` decimal digits at `at`, or -1.
int number(std::string_view text, std::size_t at, std::size_t digits)
{
    int value = 0;
    for (std::size_t i = at; i < at + digits; ++i) {
        if (text[i] < '0' || text[i] > '9')
            return -1;
        value = value * 10 + (text[i] - '0');
    }
    return value;
}

int daysInMonth(int year, int month)
{
    constexpr int kDays[] = { 31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31 };
    bool leap = (year % 4 == 0 && year % 100 != 0) || year % 400 == 0;
    return month == 2 && leap ? 29 : kDays[month - 1];
}

} // namespace

std::optional<Date> dateFromExifText(std::string_view text)
{
    constexpr std::string_view Pattern = "yyyy:MM:dd HH:mm:ss";
    if (text.size() != Pattern.size())
        return std::nullopt;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if ((Pattern[i] == ':' || Pattern[i] == ' ') && text[i] != Pattern[i])
            return std::nullopt;
    }
    int year = number(text, 0, 4);
    int month = number(text, 5, 2);
    int day = number(text, 8, 2);
    int hour = number(text, 11, 2);
    int minute = number(text, 14, 2);
    int second = number(text, 17, 2);
    bool inRange = year >= 1 && month >= 1 && month <= 12 && day >= 1 && day <= daysInMonth(year, month) && hour >= 0
        && hour <= 23 && minute >= 0 && minute <= 59 && second >= 0 && second <= 59;
    if (!inRange)
        return std::nullopt;
    tm local {};
    local.tm_year = year - 1900;
    local.tm_mon = month - 1;
    local.tm_mday = day;
    local.tm_hour = hour;
    local.tm_min = minute;
    local.tm_sec = second;
    local.tm_isdst = -1;
    return Date::fromSeconds(mktime(&local));
}

} // namespace mv
