#include "facts/reading/ExifFacts.h"

#include "Base/Core/Handle.h"
#include "Base/Core/Text.h"
#include "facts/reading/LegacyText.h"
#include "facts/reading/TagTexts.h"

#include <libexif/exif-data.h>
#include <memory>
#include <optional>

namespace mv {

namespace {

using ExifHandle = std::unique_ptr<ExifData, CloseWith<exif_data_unref>>;

// Tags that the library's versions do not all name.
constexpr int LensModelTag = 0xA434;
constexpr int OffsetTimeTag = 0x9010;
constexpr int OffsetTimeOriginalTag = 0x9011;
constexpr int OffsetTimeDigitizedTag = 0x9012;
constexpr int LensOfRawFilesTag = 0xFDEA;

ExifHandle parsed(ByteView block)
{
    using namespace std::string_view_literals;
    constexpr std::string_view Mark = "Exif\0\0"sv;
    ExifHandle data(exif_data_new());
    if (!data)
        return nullptr;
    // Entries as they are: none invented, none left out for being unknown.
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_FOLLOW_SPECIFICATION);
    exif_data_unset_option(data.get(), EXIF_DATA_OPTION_IGNORE_UNKNOWN_TAGS);
    Bytes marked(Mark.begin(), Mark.end());
    marked.insert(marked.end(), block.begin(), block.end());
    exif_data_load_data(data.get(), marked.data(), static_cast<unsigned>(marked.size()));
    return data;
}

class Block {
public:
    explicit Block(ExifData& data)
        : m_data(data)
        , m_order(exif_data_get_byte_order(&data))
    {
    }

    ExifEntry* entry(ExifIfd directory, int tag) const
    {
        ExifContent* content = m_data.ifd[directory];
        ExifEntry* entry = content ? exif_content_get_entry(content, static_cast<ExifTag>(tag)) : nullptr;
        return entry && entry->data ? entry : nullptr;
    }

    /// The bytes of a text up to its first zero, blanks at the end cut off.
    std::string_view text(ExifIfd directory, int tag) const
    {
        ExifEntry* found = entry(directory, tag);
        if (!found || (found->format != EXIF_FORMAT_ASCII && found->format != EXIF_FORMAT_UNDEFINED))
            return {};
        std::string_view text = charsOf(ByteView(found->data, found->size));
        text = text.substr(0, text.find('\0'));
        auto last = text.find_last_not_of(' ');
        return text.substr(0, last == std::string_view::npos ? 0 : last + 1);
    }

    std::optional<double> rational(ExifIfd directory, int tag, unsigned index = 0) const
    {
        constexpr unsigned Size = 8;
        ExifEntry* found = entry(directory, tag);
        if (!found || found->size < (index + 1) * Size)
            return std::nullopt;
        if (found->format == EXIF_FORMAT_RATIONAL) {
            ExifRational value = exif_get_rational(found->data + index * Size, m_order);
            return value.denominator == 0
                ? std::nullopt
                : std::optional(double { static_cast<double>(value.numerator) } / value.denominator);
        }
        if (found->format == EXIF_FORMAT_SRATIONAL) {
            ExifSRational value = exif_get_srational(found->data + index * Size, m_order);
            return value.denominator == 0
                ? std::nullopt
                : std::optional(double { static_cast<double>(value.numerator) } / value.denominator);
        }
        return std::nullopt;
    }

    std::optional<std::uint32_t> number(ExifIfd directory, int tag) const
    {
        ExifEntry* found = entry(directory, tag);
        if (!found || found->components < 1)
            return std::nullopt;
        if (found->format == EXIF_FORMAT_SHORT && found->size >= 2)
            return exif_get_short(found->data, m_order);
        if (found->format == EXIF_FORMAT_LONG && found->size >= 4)
            return exif_get_long(found->data, m_order);
        if (found->format == EXIF_FORMAT_BYTE && found->size >= 1)
            return found->data[0];
        return std::nullopt;
    }

private:
    ExifData& m_data;
    ExifByteOrder m_order;
};

void putTexts(Facts& facts, const Block& block)
{
    std::string_view make = block.text(EXIF_IFD_0, EXIF_TAG_MAKE);
    std::string_view model = block.text(EXIF_IFD_0, EXIF_TAG_MODEL);
    std::string_view lens = block.text(EXIF_IFD_EXIF, LensModelTag);
    if (lens.empty())
        lens = block.text(EXIF_IFD_0, LensOfRawFilesTag);
    std::string together = std::string(make) + '\n' + std::string(model) + '\n' + std::string(lens);
    Charset charset = guessedCharset(bytesOf(together));
    auto put = [&](std::string_view key, std::string_view text) {
        if (!text.empty())
            facts.set(key, cleanedUtf8(utf8FromCharset(charset, bytesOf(text))));
    };
    put(fact::CameraMake, make);
    put(fact::CameraModel, model);
    put(fact::Lens, lens);
}

void putExposure(Facts& facts, const Block& block)
{
    auto putPositive = [&](std::string_view key, int tag) {
        auto value = block.rational(EXIF_IFD_EXIF, tag);
        if (value && *value > 0)
            facts.setReal(key, *value);
    };
    putPositive(fact::ExposureTime, EXIF_TAG_EXPOSURE_TIME);
    putPositive(fact::FNumber, EXIF_TAG_FNUMBER);
    putPositive(fact::FocalLength, EXIF_TAG_FOCAL_LENGTH);
    auto iso = block.number(EXIF_IFD_EXIF, EXIF_TAG_ISO_SPEED_RATINGS);
    if (iso && *iso > 0)
        facts.set(fact::Iso, *iso);
}

/// Degrees, minutes, seconds; the latter two may be missing.
std::optional<double> degrees(const Block& block, int tag, int referenceTag, char negative, double limit)
{
    auto value = block.rational(EXIF_IFD_GPS, tag);
    std::string_view reference = block.text(EXIF_IFD_GPS, referenceTag);
    if (!value || reference.empty())
        return std::nullopt;
    *value += block.rational(EXIF_IFD_GPS, tag, 1).value_or(0) / 60;
    *value += block.rational(EXIF_IFD_GPS, tag, 2).value_or(0) / 3600;
    if (reference[0] == negative || reference[0] == negative + ('a' - 'A'))
        *value = -*value;
    return *value >= -limit && *value <= limit ? value : std::nullopt;
}

void putPlace(Facts& facts, const Block& block)
{
    // Numbers of the place's directory mean other things elsewhere, and have no names of their own everywhere.
    constexpr int LatitudeRef = 1;
    constexpr int Latitude = 2;
    constexpr int LongitudeRef = 3;
    constexpr int Longitude = 4;
    constexpr int AltitudeRef = 5;
    constexpr int Altitude = 6;
    auto latitude = degrees(block, Latitude, LatitudeRef, 'S', 90);
    auto longitude = degrees(block, Longitude, LongitudeRef, 'W', 180);
    if (latitude && longitude) {
        facts.setReal(fact::Latitude, *latitude);
        facts.setReal(fact::Longitude, *longitude);
    }
    if (auto altitude = block.rational(EXIF_IFD_GPS, Altitude)) {
        bool isBelow = block.number(EXIF_IFD_GPS, AltitudeRef).value_or(0) == 1;
        facts.setReal(fact::Altitude, isBelow ? -*altitude : *altitude);
    }
}

struct DateTags {
    ExifIfd directory;
    int date;
    int offset;
};

/// When the picture was taken, else when it was digitised, else when it was last changed.
constexpr DateTags Dates[] = {
    { EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_ORIGINAL, OffsetTimeOriginalTag },
    { EXIF_IFD_EXIF, EXIF_TAG_DATE_TIME_DIGITIZED, OffsetTimeDigitizedTag },
    { EXIF_IFD_0, EXIF_TAG_DATE_TIME, OffsetTimeTag },
};

void putDate(Facts& facts, const Block& block)
{
    for (const DateTags& tags : Dates) {
        std::string text(block.text(tags.directory, tags.date));
        // Some cameras leave the zeros in front of a number out.
        for (std::size_t i = 1; i + 1 < text.size(); ++i) {
            if (text[i] == ' ' && text[i - 1] == ':')
                text[i] = '0';
        }
        auto date = isoDateOf(text);
        if (!date)
            continue;
        if (date->find('T') != std::string::npos)
            date = isoDateOf(*date + std::string(block.text(EXIF_IFD_EXIF, tags.offset)));
        facts.set(fact::ContentCreated, std::move(*date));
        return;
    }
}

} // namespace

void addExif(Facts& facts, ByteView block)
{
    ExifHandle data = parsed(block);
    if (!data)
        return;
    Block entries(*data);
    putTexts(facts, entries);
    putExposure(facts, entries);
    putPlace(facts, entries);
    putDate(facts, entries);
    auto orientation = entries.number(EXIF_IFD_0, EXIF_TAG_ORIENTATION);
    if (orientation && *orientation >= 1 && *orientation <= 8 && !facts.contains(fact::Orientation))
        facts.set(fact::Orientation, *orientation);
}

} // namespace mv
