#include "cli/RecordText.h"

#include "Base/Core/Text.h"
#include "Base/Media/MediaDB.h"
#include "Base/Media/TiffForm.h"

#include <array>
#include <cmath>

namespace mv::cli {

namespace {

constexpr std::size_t KeyColumns = 17;

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
