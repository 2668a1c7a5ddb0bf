#include "cli/facts/FactLiteral.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <ctime>
#include <optional>

namespace mv::cli {

namespace {

constexpr double MicrosecondsPerSecond = 1e6;
constexpr double SecondsPerMinute = 60;
// As near as a fraction that was rounded comes to the one that is meant.
constexpr double FractionTolerance = 1e-6;

struct Unit {
    std::string_view ofField; ///< the unit that FactRows names
    std::string_view name; ///< what may stand behind a number
    double factor;
};

constexpr std::array Units {
    Unit { "bytes", "B", 1 },
    Unit { "bytes", "k", 1e3 },
    Unit { "bytes", "kB", 1e3 },
    Unit { "bytes", "M", 1e6 },
    Unit { "bytes", "MB", 1e6 },
    Unit { "bytes", "G", 1e9 },
    Unit { "bytes", "GB", 1e9 },
    Unit { "bytes", "KiB", 1024 },
    Unit { "bytes", "MiB", 1024.0 * 1024 },
    Unit { "bytes", "GiB", 1024.0 * 1024 * 1024 },
    Unit { "microseconds", "us", 1 },
    Unit { "microseconds", "ms", 1e3 },
    Unit { "microseconds", "s", MicrosecondsPerSecond },
    Unit { "microseconds", "min", SecondsPerMinute* MicrosecondsPerSecond },
    Unit { "microseconds", "h", SecondsPerMinute* SecondsPerMinute* MicrosecondsPerSecond },
    Unit { "Hz", "Hz", 1 },
    Unit { "Hz", "k", 1e3 },
    Unit { "Hz", "kHz", 1e3 },
    Unit { "bit/s", "bit/s", 1 },
    Unit { "bit/s", "k", 1e3 },
    Unit { "bit/s", "kbit", 1e3 },
    Unit { "bit/s", "kbit/s", 1e3 },
    Unit { "bit/s", "kbps", 1e3 },
    Unit { "bit/s", "M", 1e6 },
    Unit { "bit/s", "Mbit", 1e6 },
    Unit { "bit/s", "Mbit/s", 1e6 },
    Unit { "bit/s", "Mbps", 1e6 },
    Unit { "seconds", "s", 1 },
    Unit { "seconds", "ms", 1e-3 },
    Unit { "mm", "mm", 1 },
    Unit { "metres", "m", 1 },
    Unit { "pixels", "px", 1 },
    Unit { "1/s", "fps", 1 },
};

bool isDigit(char byte) { return byte >= '0' && byte <= '9'; }

/// A number at the front of a text, and what stands behind it.
struct LeadingNumber {
    double value = 0;
    int decimals = 0;
    std::string_view rest;
};

std::optional<LeadingNumber> leadingNumber(std::string_view text)
{
    LeadingNumber number;
    auto read = std::from_chars(text.data(), text.data() + text.size(), number.value, std::chars_format::fixed);
    if (read.ec != std::errc() || !std::isfinite(number.value))
        return std::nullopt;
    auto length = static_cast<std::size_t>(read.ptr - text.data());
    auto point = text.substr(0, length).find('.');
    if (point != std::string_view::npos)
        number.decimals = static_cast<int>(length - point - 1);
    number.rest = text.substr(length);
    return number;
}

/// Half of the last digit that was written.
double halfDigit(int decimals) { return 0.5 * std::pow(10, -decimals); }

NumberLiteral around(double value, double tolerance = 0) { return { value, value, tolerance }; }

/// "3:05", "1:02:09", in seconds.
std::optional<NumberLiteral> clockLiteral(std::string_view text)
{
    double seconds = 0;
    int parts = 0;
    for (bool more = true; more; ++parts) {
        auto number = leadingNumber(text);
        bool isPart = number && number->value >= 0 && (parts == 0 || number->value < SecondsPerMinute);
        if (!isPart || parts > 2)
            return std::nullopt;
        more = number->rest.starts_with(':');
        if (!more && !number->rest.empty())
            return std::nullopt;
        if (more && number->decimals > 0)
            return std::nullopt;
        seconds = seconds * SecondsPerMinute + number->value;
        text = more ? number->rest.substr(1) : number->rest;
        if (!more && parts > 0)
            return around(seconds, halfDigit(number->decimals));
    }
    return std::nullopt;
}

std::string unitsOf(std::string_view ofField)
{
    std::string text;
    for (const Unit& unit : Units) {
        if (unit.ofField == ofField)
            text += (text.empty() ? "" : ", ") + std::string(unit.name);
    }
    return text;
}

Error notTaken(const FactField& field, std::string_view text)
{
    std::string sentence = "\"" + std::string(text) + "\" is no value of " + std::string(field.name());
    if (field.key() == fact::Length)
        sentence += ", which takes 3:05, or a number with one of us, ms, s, min, h";
    else if (field.key() == fact::Modified)
        sentence += ", which takes a date such as 2026-01-31, or 2026-01-31T12:00";
    else if (std::string units = unitsOf(field.unit()); !units.empty())
        sentence += ", which takes a number, also with one of " + units;
    else
        sentence += ", which takes a number";
    return { Error::Kind::Format, sentence };
}

Result<NumberLiteral> numberWithUnit(const FactField& field, std::string_view text)
{
    auto number = leadingNumber(text);
    if (!number)
        return notTaken(field, text);
    double tolerance = field.type() == FactType::Real ? halfDigit(number->decimals) : 0;
    if (number->rest.empty())
        return around(number->value, tolerance);
    for (const Unit& unit : Units) {
        if (unit.ofField == field.unit() && equalIgnoringAsciiCase(unit.name, number->rest))
            return around(number->value * unit.factor, tolerance * unit.factor);
    }
    return notTaken(field, text);
}

/// A bare number is one of microseconds, and who writes a small one means seconds.
Result<NumberLiteral> lengthLiteral(const FactField& field, std::string_view text)
{
    if (auto clock = clockLiteral(text)) {
        double seconds = clock->first;
        return around(seconds * MicrosecondsPerSecond, clock->tolerance * MicrosecondsPerSecond);
    }
    auto number = leadingNumber(text);
    if (number && number->rest.empty() && number->value > 0 && number->value < MicrosecondsPerSecond) {
        std::string given(text);
        return Error { Error::Kind::Format,
            "length is in microseconds, and " + given + " of them are less than a second: write " + given
                + "s for seconds, 3:05 for minutes and seconds, or " + given + "us" };
    }
    MV_TRY(literal, numberWithUnit(field, text));
    if (number->rest == "s" || number->rest == "S")
        literal.tolerance = halfDigit(number->decimals) * MicrosecondsPerSecond;
    return literal;
}

/// The parts of a date literal that are there, in the order of `tm`'s meaning: year, month, day, hour, minute, second.
std::array<int, 6> partsOfDate(std::string_view text)
{
    std::array<int, 6> parts { 0, 1, 1, 0, 0, 0 };
    for (std::size_t i = 0; i < parts.size() && !text.empty(); ++i) {
        auto read = std::from_chars(text.data(), text.data() + text.size(), parts[i]);
        text = text.substr(static_cast<std::size_t>(read.ptr - text.data()));
        if (!text.empty())
            text.remove_prefix(1);
    }
    return parts;
}

/// Local time, as dates are shown.
double microsecondsAt(const std::array<int, 6>& parts)
{
    std::tm local {};
    local.tm_year = parts[0] - 1900;
    local.tm_mon = parts[1] - 1;
    local.tm_mday = parts[2];
    local.tm_hour = parts[3];
    local.tm_min = parts[4];
    local.tm_sec = parts[5];
    local.tm_isdst = -1;
    return static_cast<double>(std::mktime(&local)) * MicrosecondsPerSecond;
}

/// The whole of the year, month, day, minute or second that was written.
NumberLiteral timeLiteral(std::string_view text)
{
    constexpr std::array<std::size_t, 6> LengthWith { 4, 7, 10, 13, 16, 19 };
    auto parts = partsOfDate(text);
    double first = microsecondsAt(parts);
    auto last = std::find(LengthWith.begin(), LengthWith.end(), text.size()) - LengthWith.begin();
    ++parts[static_cast<std::size_t>(std::min<std::ptrdiff_t>(last, 5))];
    return { first, microsecondsAt(parts) - 1, 0 };
}

/// "1/250"
std::optional<NumberLiteral> fractionLiteral(std::string_view text)
{
    auto above = leadingNumber(text);
    if (!above || !above->rest.starts_with('/'))
        return std::nullopt;
    auto below = leadingNumber(above->rest.substr(1));
    if (!below || !below->rest.empty() || below->value == 0)
        return std::nullopt;
    double value = above->value / below->value;
    return around(value, std::abs(value) * FractionTolerance);
}

} // namespace

Result<NumberLiteral> numberLiteral(const FactField& field, std::string_view text)
{
    if (field.key() == fact::Length)
        return lengthLiteral(field, text);
    if (field.key() == fact::Modified && isDateLiteral(text))
        return timeLiteral(text);
    if (field.type() == FactType::Real) {
        if (auto fraction = fractionLiteral(text))
            return *fraction;
    }
    return numberWithUnit(field, text);
}

bool isDateLiteral(std::string_view text)
{
    constexpr std::string_view Form = "dddd-dd-ddTdd:dd:dd";
    constexpr std::array<std::size_t, 5> Lengths { 4, 7, 10, 16, 19 };
    if (std::find(Lengths.begin(), Lengths.end(), text.size()) == Lengths.end())
        return false;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (Form[i] == 'd' ? !isDigit(text[i]) : text[i] != Form[i])
            return false;
    }
    return true;
}

} // namespace mv::cli
