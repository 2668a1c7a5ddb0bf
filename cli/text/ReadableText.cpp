#include "cli/text/ReadableText.h"

#include "Base/Core/Text.h"

#include <array>
#include <ctime>

namespace mv::cli {

namespace {

constexpr std::int64_t SecondsPerMinute = 60;
constexpr std::int64_t SecondsPerHour = 3600;

/// The number of bytes of the character at the front; 0 where there is no valid one.
std::size_t characterLength(std::string_view text)
{
    for (std::size_t length = 1; length <= 4 && length <= text.size(); ++length) {
        if (isValidUtf8(text.substr(0, length)))
            return length;
    }
    return 0;
}

bool isControl(std::string_view character)
{
    auto first = static_cast<unsigned char>(character[0]);
    if (character.size() == 1)
        return first < 0x20 || first == 0x7f;
    // U+0080 to U+009F, which terminals take for commands as well.
    return character.size() == 2 && first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
}

void appendEscaped(std::string& out, std::string_view bytes)
{
    for (char byte : bytes) {
        if (byte == '\n')
            out += "\\n";
        else if (byte == '\t')
            out += "\\t";
        else
            out += formatText("\\x%02x", static_cast<unsigned>(static_cast<unsigned char>(byte)));
    }
}

} // namespace

std::string terminalText(std::string_view text)
{
    std::string out;
    while (!text.empty()) {
        std::size_t length = characterLength(text);
        std::string_view character = text.substr(0, length ? length : 1);
        if (length == 0 || isControl(character))
            appendEscaped(out, character);
        else
            out += character;
        text.remove_prefix(character.size());
    }
    return out;
}

std::string readableLength(std::int64_t seconds)
{
    auto hours = static_cast<long long>(seconds / SecondsPerHour);
    auto minutes = static_cast<long long>(seconds % SecondsPerHour / SecondsPerMinute);
    auto rest = static_cast<long long>(seconds % SecondsPerMinute);
    if (hours > 0)
        return formatText("%lld:%02lld:%02lld", hours, minutes, rest);
    return formatText("%lld:%02lld", minutes, rest);
}

std::string readableSize(std::int64_t bytes)
{
    constexpr std::array Units { "kB", "MB", "GB", "TB" };
    constexpr double Step = 1000;
    if (bytes < static_cast<std::int64_t>(Step))
        return std::to_string(bytes) + " bytes";
    double amount = static_cast<double>(bytes) / Step;
    std::size_t unit = 0;
    while (amount >= Step && unit + 1 < Units.size()) {
        amount /= Step;
        ++unit;
    }
    return formatText("%.1f %s", amount, Units[unit]);
}

std::string localDate(Date date)
{
    std::time_t time = date.microseconds / 1'000'000 - (date.microseconds % 1'000'000 < 0 ? 1 : 0);
    tm local {};
    if (!localtime_r(&time, &local))
        return "";
    return formatText("%04d-%02d-%02d %02d:%02d:%02d", local.tm_year + 1900, local.tm_mon + 1, local.tm_mday,
        local.tm_hour, local.tm_min, local.tm_sec);
}

std::string padded(std::string_view text, std::size_t columns)
{
    std::size_t characters = 0;
    for (char byte : text)
        characters += (static_cast<unsigned char>(byte) & 0xc0) != 0x80;
    return std::string(text) + std::string(columns > characters ? columns - characters : 0, ' ');
}

} // namespace mv::cli
