#include "cli/facts/ReadableFact.h"

#include "Base/Core/Text.h"
#include "cli/facts/FactTable.h"
#include "cli/text/ReadableText.h"

#include <algorithm>
#include <cmath>

namespace mv::cli {

namespace {

constexpr std::size_t NameColumns = 16;
constexpr double MicrosecondsPerSecond = 1e6;
constexpr double Kilo = 1000;
/// Of a text among others; lyrics are longer.
constexpr std::size_t MostTextBytes = 200;

/// What people ask for, in this order; numbers bring their totals along.
constexpr std::array ReadingOrder { fact::Title, fact::Artist, fact::Album, fact::AlbumArtist, fact::Composer,
    fact::TrackNumber, fact::DiscNumber, fact::Genre, fact::ContentCreated, fact::Comment, fact::AsText, fact::AudioBpm,
    fact::Compilation, fact::Length, fact::AudioCodec, fact::SampleRate, fact::Channels, fact::BitsPerSample,
    fact::Bitrate, fact::VideoCodec, fact::Width, fact::Height, fact::FrameRate, fact::Orientation, fact::CameraMake,
    fact::CameraModel, fact::Lens, fact::ExposureTime, fact::FNumber, fact::FocalLength, fact::Iso, fact::Latitude,
    fact::Longitude, fact::Altitude, fact::HasPicture, fact::Kind, fact::MimeType, fact::Size, fact::Modified };
// The URI, and two totals.
static_assert(ReadingOrder.size() + 3 == FactRows.size());

std::string lengthText(double value)
{
    double seconds = value / MicrosecondsPerSecond;
    if (seconds < 1)
        return formatText("%.3f s", seconds);
    return readableLength(std::llround(seconds));
}

std::string sizeText(double value)
{
    auto bytes = static_cast<std::int64_t>(value);
    std::string size = readableSize(bytes);
    return size.ends_with("bytes") ? size : size + " (" + std::to_string(bytes) + " bytes)";
}

std::string timeText(double value) { return localDate({ static_cast<std::int64_t>(value) }); }

std::string frequencyText(double value)
{
    return value < Kilo ? formatText("%.0f Hz", value) : formatText("%g kHz", value / Kilo);
}

std::string bitrateText(double value)
{
    if (value < Kilo)
        return formatText("%.0f bit/s", value);
    double kilobits = std::round(value / Kilo);
    return kilobits < 10 * Kilo ? formatText("%.0f kbit/s", kilobits) : formatText("%.1f Mbit/s", kilobits / Kilo);
}

std::string channelsText(double value)
{
    std::string number = formatText("%.0f", value);
    return value == 1 ? number + " (mono)" : value == 2 ? number + " (stereo)" : number;
}

std::string bitsText(double value) { return formatText("%.0f bits", value); }
std::string pixelsText(double value) { return formatText("%.0f pixels", value); }
std::string frameRateText(double value) { return formatText("%.4g fps", value); }
std::string focalLengthText(double value) { return formatText("%.4g mm", value); }
std::string apertureText(double value) { return formatText("f/%.3g", value); }
std::string altitudeText(double value) { return formatText("%.1f m", value); }

std::string orientationText(double value)
{
    constexpr std::array Turns { "upright", "mirrored", "half a turn", "mirrored, half a turn",
        "mirrored, a quarter turn left", "a quarter turn right", "mirrored, a quarter turn right",
        "a quarter turn left" };
    std::string number = formatText("%.0f", value);
    auto turn = static_cast<std::size_t>(value);
    return turn >= 1 && turn <= Turns.size() ? number + " (" + Turns[turn - 1] + ")" : number;
}

/// Cameras say a fraction below a second, and where it is near enough to one people know it by that.
std::string exposureText(double value)
{
    constexpr double LongestFraction = 0.4;
    if (value <= 0 || value > LongestFraction)
        return formatText("%.3g s", value);
    return formatText("1/%.0f s", 1 / value);
}

std::string degreesText(double value, const char* positive, const char* negative)
{
    return formatText("%.9g° %s", std::abs(value), value < 0 ? negative : positive);
}
std::string latitudeText(double value) { return degreesText(value, "N", "S"); }
std::string longitudeText(double value) { return degreesText(value, "E", "W"); }

struct NumberForm {
    std::string_view key;
    std::string (*text)(double value);
};

constexpr std::array NumberForms {
    NumberForm { fact::Size, sizeText },
    NumberForm { fact::Modified, timeText },
    NumberForm { fact::Length, lengthText },
    NumberForm { fact::SampleRate, frequencyText },
    NumberForm { fact::Channels, channelsText },
    NumberForm { fact::BitsPerSample, bitsText },
    NumberForm { fact::Bitrate, bitrateText },
    NumberForm { fact::Width, pixelsText },
    NumberForm { fact::Height, pixelsText },
    NumberForm { fact::FrameRate, frameRateText },
    NumberForm { fact::Orientation, orientationText },
    NumberForm { fact::ExposureTime, exposureText },
    NumberForm { fact::FNumber, apertureText },
    NumberForm { fact::FocalLength, focalLengthText },
    NumberForm { fact::Latitude, latitudeText },
    NumberForm { fact::Longitude, longitudeText },
    NumberForm { fact::Altitude, altitudeText },
};

/// "2016-05-31 17:01:35 +02:00" of "2016-05-31T17:01:35+02:00"
std::string dateText(std::string text)
{
    constexpr std::size_t PlaceOfT = 10;
    constexpr std::size_t PlaceOfOffset = 19;
    if (text.size() > PlaceOfT && text[PlaceOfT] == 'T')
        text[PlaceOfT] = ' ';
    if (text.size() > PlaceOfOffset && (text[PlaceOfOffset] == '+' || text[PlaceOfOffset] == '-'))
        text.insert(PlaceOfOffset, 1, ' ');
    return text;
}

std::string headline(const DescribedFile& file, bool emphasised)
{
    std::string name = terminalText(file.path());
    return emphasised ? "\033[1m" + name + "\033[0m\n" : name + "\n";
}

std::string line(std::string_view name, const std::string& text)
{
    return "  " + padded(name, NameColumns) + text + "\n";
}

/// A total has a line of its own only where the number is missing.
std::string_view totalOf(std::string_view key)
{
    return key == fact::TrackNumber ? fact::TrackTotal : key == fact::DiscNumber ? fact::DiscTotal : std::string_view();
}

std::string lineOf(const Facts& facts, std::string_view key)
{
    const FactValue* value = facts.find(key);
    std::string_view totalKey = totalOf(key);
    const FactValue* total = totalKey.empty() ? nullptr : facts.find(totalKey);
    FactField field(key);
    if (!value)
        return total ? line(FactField(totalKey).name(), readableFact(FactField(totalKey), *total)) : "";
    std::string text = readableFact(field, *value);
    std::string_view shortened = truncatedUtf8(text, MostTextBytes);
    if (shortened.size() < text.size())
        text = std::string(shortened) + "…";
    if (total)
        text += " of " + plainValue(*total);
    return line(field.name(), text);
}

} // namespace

std::string readableFact(const FactField& field, const FactValue& value)
{
    if (auto* flag = std::get_if<bool>(&value))
        return *flag ? "yes" : "no";
    if (auto* text = std::get_if<std::string>(&value))
        return terminalText(field.key() == fact::ContentCreated ? dateText(*text) : *text);
    if (!std::holds_alternative<std::vector<std::string>>(value)) {
        for (const NumberForm& form : NumberForms) {
            if (form.key == field.key())
                return form.text(numberOf(value));
        }
    }
    return terminalText(plainValue(value));
}

std::string readableFile(const DescribedFile& file, const FactFields& fields, bool emphasised)
{
    std::string text = headline(file, emphasised);
    for (const FactField& field : fields) {
        if (const FactValue* value = field.isPath() ? nullptr : file.find(field))
            text += line(field.name(), readableFact(field, *value));
    }
    return text;
}

std::string readableFile(const DescribedFile& file, bool emphasised)
{
    std::string text = headline(file, emphasised);
    for (std::string_view key : ReadingOrder)
        text += lineOf(file.facts(), key);
    return text;
}

} // namespace mv::cli
