#include "cli/RecordText.h"

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "Base/Media/TiffForm.h"
#include "cli/Terminal.h"

#include <array>
#include <cmath>
#include <ctime>

namespace mv::cli {

namespace {

constexpr std::size_t KeyColumns = 17;
constexpr std::int64_t SecondsPerMinute = 60;
constexpr std::int64_t SecondsPerHour = 3600;

std::string plainNumber(const Value& value)
{
    if (auto* large = std::get_if<std::int64_t>(&value.storage()))
        return std::to_string(*large);
    if (auto* real = value.real()) {
        if (*real != std::floor(*real) || std::abs(*real) > 1e15)
            return formatText("%g", *real);
        return std::to_string(static_cast<std::int64_t>(*real));
    }
    return std::to_string(value.integerValue().value_or(0));
}

std::int64_t wholeNumber(const Value& value)
{
    if (auto* large = std::get_if<std::int64_t>(&value.storage()))
        return *large;
    return value.integerValue().value_or(0);
}

std::string withUnit(const Value& value, const char* unit) { return plainNumber(value) + " " + unit; }

std::string lengthText(const Value& value) { return readableLength(wholeNumber(value)); }
std::string rateText(const Value& value) { return withUnit(value, "kbit/s"); }
std::string frequencyText(const Value& value) { return withUnit(value, "Hz"); }
std::string pixelsText(const Value& value) { return withUnit(value, "pixels"); }
std::string codeText(const Value& value)
{
    return formatText("0x%08x", static_cast<unsigned>(value.integerValue().value_or(0)));
}
std::string sizeText(const Value& value)
{
    return readableSize(wholeNumber(value)) + " (" + withUnit(value, "bytes") + ")";
}

struct NumberForm {
    std::string_view key;
    std::string (*text)(const Value&);
};

constexpr std::array NumberForms {
    NumberForm { MediaDBCommonColumnFileSize, sizeText },
    NumberForm { MediaDBCommonColumnMediaType, codeText },
    NumberForm { MediaDBMusicColumnPlayLength, lengthText },
    NumberForm { MediaDBMusicColumnBitrate, rateText },
    NumberForm { MediaDBMusicColumnSamplerate, frequencyText },
    NumberForm { MediaDBPhotoColumnWidth, pixelsText },
    NumberForm { MediaDBPhotoColumnHeight, pixelsText },
};

std::string pictureText(const Bytes& data)
{
    std::string size = readableSize(static_cast<std::int64_t>(data.size()));
    auto picture = pixelsOfTiff(data);
    if (!picture)
        return "data, " + size;
    return formatText("picture, %d x %d, %s", picture->width, picture->height, size.c_str());
}

} // namespace

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

std::string readableValue(std::string_view key, const Value& value)
{
    if (value.isNull())
        return "(empty)";
    if (value.isOtherKind())
        return "(of an unknown kind)";
    if (auto* flag = value.boolean())
        return *flag ? "yes" : "no";
    if (auto* text = value.string())
        return terminalText(*text);
    if (auto* date = value.date())
        return localDate(*date);
    if (auto* data = value.data())
        return pictureText(*data);
    for (const NumberForm& form : NumberForms) {
        if (form.key == key)
            return form.text(value);
    }
    return plainNumber(value);
}

std::string readableRecord(std::string_view title, const Record& record, bool emphasised)
{
    std::string name = terminalText(title);
    std::string out = emphasised ? "\033[1m" + name + "\033[0m\n" : name + "\n";
    for (const auto& [key, value] : record)
        out += "  " + padded(terminalText(key), KeyColumns) + readableValue(key, value) + "\n";
    return out;
}

} // namespace mv::cli
