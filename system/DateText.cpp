#include "system/DateText.h"

#include <ctime>

namespace mv {

namespace {

using std::chrono::hours;
using std::chrono::microseconds;
using std::chrono::minutes;
using std::chrono::seconds;

/// Takes a date's parts off the front of a text.
class DateScanner {
public:
    explicit DateScanner(std::string_view text)
        : m_rest(text)
    {
    }

    bool atEnd() const { return m_rest.empty(); }
    bool skip(std::string_view wanted)
    {
        if (!m_rest.starts_with(wanted))
            return false;
        m_rest.remove_prefix(wanted.size());
        return true;
    }
    /// Exactly `digits` of them; cameras put blanks where others put zeros.
    bool number(std::size_t digits, int& value)
    {
        if (m_rest.size() < digits)
            return false;
        value = 0;
        bool blank = true;
        for (char c : m_rest.substr(0, digits)) {
            if (c == ' ' && blank)
                continue;
            if (c < '0' || c > '9')
                return false;
            blank = false;
            value = value * 10 + (c - '0');
        }
        m_rest.remove_prefix(digits);
        return true;
    }
    /// Digits behind a point, cut off at microseconds.
    microseconds fraction()
    {
        int value = 0;
        int place = 100'000;
        for (; !m_rest.empty() && m_rest[0] >= '0' && m_rest[0] <= '9'; m_rest.remove_prefix(1), place /= 10)
            value += (m_rest[0] - '0') * place;
        return microseconds(value);
    }

private:
    std::string_view m_rest;
};

bool takeDay(DateScanner& scanner, std::string_view separator, WallTime& time)
{
    int year = 0;
    int month = 0;
    int day = 0;
    bool taken = scanner.number(4, year) && scanner.skip(separator) && scanner.number(2, month)
        && scanner.skip(separator) && scanner.number(2, day);
    time.day = std::chrono::year_month_day(
        std::chrono::year(year), std::chrono::month(unsigned(month)), std::chrono::day(unsigned(day)));
    return taken && year >= 1 && time.day.ok();
}

bool takeHoursAndMinutes(DateScanner& scanner, WallTime& time)
{
    int hour = 0;
    int minute = 0;
    bool taken = scanner.number(2, hour) && scanner.skip(":") && scanner.number(2, minute);
    time.sinceMidnight = hours(hour) + minutes(minute);
    return taken && hour <= 23 && minute <= 59;
}

bool takeSeconds(DateScanner& scanner, WallTime& time)
{
    int second = 0;
    bool taken = scanner.number(2, second);
    time.sinceMidnight += seconds(second);
    return taken && second <= 59;
}

bool takeSecondsAndFraction(DateScanner& scanner, WallTime& time)
{
    if (!takeSeconds(scanner, time))
        return false;
    if (scanner.skip("."))
        time.sinceMidnight += scanner.fraction();
    return true;
}

/// Behind hours of 1 to 12; false for others.
bool takeHalfOfTheDay(DateScanner& scanner, WallTime& time)
{
    bool isAfternoon = scanner.skip("PM");
    if (!isAfternoon && !scanner.skip("AM"))
        return true;
    auto hour = std::chrono::duration_cast<hours>(time.sinceMidnight);
    bool isHalf = hour >= hours(1) && hour <= hours(12);
    if (hour == hours(12))
        time.sinceMidnight -= hours(12);
    if (isAfternoon)
        time.sinceMidnight += hours(12);
    return isHalf;
}

/// The zone's distance from UTC, positive to the east; nothing where the text goes on differently.
std::optional<minutes> takeZone(DateScanner& scanner)
{
    if (scanner.skip("Z"))
        return minutes(0);
    bool isEast = scanner.skip("+");
    if (!isEast && !scanner.skip("-"))
        return std::nullopt;
    int hour = 0;
    int minute = 0;
    if (!scanner.number(2, hour))
        return std::nullopt;
    scanner.skip(":");
    if (!scanner.atEnd() && !scanner.number(2, minute))
        return std::nullopt;
    minutes distance = hours(hour) + minutes(minute);
    return isEast ? distance : -distance;
}

/// The time on a wall in Greenwich.
microseconds sinceEpoch(const WallTime& time)
{
    return std::chrono::sys_days(time.day).time_since_epoch() + time.sinceMidnight;
}

/// How far local time is ahead of UTC at a moment.
seconds localOffsetAt(microseconds moment)
{
    std::time_t time = std::chrono::floor<seconds>(moment).count();
    tm local {};
    return localtime_r(&time, &local) ? seconds(local.tm_gmtoff) : seconds(0);
}

} // namespace

// Not by mktime: where a time comes twice or never, its answer depends on what it was asked before.
Date dateFromLocalTime(const WallTime& time)
{
    constexpr hours MoreThanAnyOffset { 24 };
    tzset(); // the zone may have changed
    microseconds wall = sinceEpoch(time);
    seconds before = localOffsetAt(wall - MoreThanAnyOffset);
    seconds after = localOffsetAt(wall + MoreThanAnyOffset);
    bool comesBefore = localOffsetAt(wall - before) == before;
    bool comesAfter = localOffsetAt(wall - after) == after;
    return Date { (wall - (comesAfter && !comesBefore ? after : before)).count() };
}

std::optional<Date> dateFromExifText(std::string_view text)
{
    DateScanner scanner(text);
    WallTime time;
    if (!takeDay(scanner, ":", time) || !scanner.skip(" ") || !takeHoursAndMinutes(scanner, time) || !scanner.skip(":")
        || !takeSeconds(scanner, time) || !scanner.atEnd())
        return std::nullopt;
    return dateFromLocalTime(time);
}

std::optional<Date> dateFromMetadataText(std::string_view text)
{
    DateScanner scanner(text);
    WallTime time;
    if (!takeDay(scanner, "-", time))
        return std::nullopt;
    scanner.skip("/");
    if ((!scanner.skip("T") && !scanner.skip(" ")) || !takeHoursAndMinutes(scanner, time))
        return std::nullopt;
    if (scanner.skip(":") && !takeSecondsAndFraction(scanner, time))
        return std::nullopt;
    if (!takeHalfOfTheDay(scanner, time))
        return std::nullopt;
    if (scanner.atEnd())
        return dateFromLocalTime(time);
    auto zone = takeZone(scanner);
    if (!zone || !scanner.atEnd())
        return std::nullopt;
    return Date { (sinceEpoch(time) - *zone).count() };
}

} // namespace mv
