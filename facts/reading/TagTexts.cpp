#include "facts/reading/TagTexts.h"

#include "Base/Core/Text.h"
#include "facts/reading/LegacyText.h"

#include <algorithm>
#include <charconv>

namespace mv {

namespace {

std::string_view untilZero(std::string_view text) { return text.substr(0, text.find('\0')); }

std::string_view trimmed(std::string_view text)
{
    constexpr std::string_view Blanks = " \t\r\n";
    auto begin = text.find_first_not_of(Blanks);
    if (begin == std::string_view::npos)
        return {};
    return text.substr(begin, text.find_last_not_of(Blanks) - begin + 1);
}

/// The number at the front of the text; nothing where none is, or zero: that is how tags say "not told".
std::optional<std::int32_t> positiveNumber(std::string_view text)
{
    text = trimmed(text);
    std::int32_t number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    return error == std::errc {} && number > 0 ? std::optional(number) : std::nullopt;
}

bool saysYes(std::string_view text)
{
    return positiveNumber(text).has_value() || equalIgnoringAsciiCase(text, "true")
        || equalIgnoringAsciiCase(text, "yes");
}

/// "3/12": the place in front, the total behind the slash.
void putPlace(Facts& facts, const std::vector<std::string>& place, const std::vector<std::string>& total,
    std::string_view placeKey, std::string_view totalKey)
{
    std::string_view text = place.empty() ? std::string_view() : std::string_view(place.front());
    auto slash = text.find('/');
    std::optional<std::int32_t> of = total.empty() ? std::nullopt : positiveNumber(total.front());
    if (slash != std::string_view::npos && !of)
        of = positiveNumber(text.substr(slash + 1));
    if (auto number = positiveNumber(text.substr(0, slash)))
        facts.set(placeKey, *number);
    if (of)
        facts.set(totalKey, *of);
}

/// Digits of an exact count at a place.
std::optional<int> digitsAt(std::string_view text, std::size_t at, std::size_t count)
{
    if (text.size() < at + count)
        return std::nullopt;
    int number = 0;
    for (char c : text.substr(at, count)) {
        if (c < '0' || c > '9')
            return std::nullopt;
        number = number * 10 + (c - '0');
    }
    return number;
}

bool isDigit(char c) { return c >= '0' && c <= '9'; }

/// "Z", "+hh", "+hhmm", "+hh:mm"; empty for anything else.
std::string zoneOf(std::string_view text)
{
    text = trimmed(text);
    if (text == "Z" || text == "z")
        return "Z";
    if (text.empty() || (text[0] != '+' && text[0] != '-'))
        return {};
    auto hours = digitsAt(text, 1, 2);
    std::size_t minutesAt = text.size() > 3 && text[3] == ':' ? 4 : 3;
    auto minutes = digitsAt(text, minutesAt, 2);
    if (!hours || *hours > 23 || (minutes && *minutes > 59))
        return {};
    return formatText("%c%02d:%02d", text[0], *hours, minutes.value_or(0));
}

std::string clockOf(std::string_view text)
{
    auto hours = digitsAt(text, 0, 2);
    if (hours && *hours <= 23 && text.size() == 2)
        return formatText("T%02d", *hours);
    auto minutes = digitsAt(text, 3, 2);
    if (!hours || !minutes || text[2] != ':' || *hours > 23 || *minutes > 59)
        return {};
    std::string clock = formatText("T%02d:%02d", *hours, *minutes);
    std::size_t end = 5;
    auto seconds = text.size() > 5 && text[5] == ':' ? digitsAt(text, 6, 2) : std::nullopt;
    if (seconds && *seconds <= 60) {
        clock += formatText(":%02d", *seconds);
        end = 8;
        if (end < text.size() && (text[end] == '.' || text[end] == ',')) {
            std::size_t last = end + 1;
            while (last < text.size() && isDigit(text[last]))
                ++last;
            std::string_view fraction = text.substr(end + 1, last - end - 1);
            if (fraction.find_first_not_of('0') != std::string_view::npos)
                clock += "." + std::string(fraction);
            end = last;
        }
    }
    return clock + zoneOf(text.substr(end));
}

/// "04.05.2010", "4.5.2010".
std::optional<std::string> dayFirstDate(std::string_view text)
{
    int day = 0;
    int month = 0;
    int year = 0;
    const char* end = text.data() + text.size();
    auto first = std::from_chars(text.data(), end, day);
    if (first.ec != std::errc {} || first.ptr == end || *first.ptr != '.')
        return std::nullopt;
    auto second = std::from_chars(first.ptr + 1, end, month);
    if (second.ec != std::errc {} || second.ptr == end || *second.ptr != '.')
        return std::nullopt;
    auto third = std::from_chars(second.ptr + 1, end, year);
    bool isDate = third.ec == std::errc {} && third.ptr == end && year >= 1000 && year <= 9999 && month >= 1
        && month <= 12 && day >= 1 && day <= 31;
    return isDate ? std::optional(formatText("%04d-%02d-%02d", year, month, day)) : std::nullopt;
}

/// The first one, or another that says the same more precisely: a year may stand in front of the day.
std::optional<std::string> preciseDateOf(const std::vector<std::string>& texts)
{
    std::optional<std::string> best;
    for (const std::string& text : texts) {
        auto date = isoDateOf(text);
        if (date && (!best || (date->size() > best->size() && date->starts_with(*best))))
            best = std::move(date);
    }
    return best;
}

} // namespace

std::optional<std::string> isoDateOf(std::string_view text)
{
    text = trimmed(text);
    auto year = digitsAt(text, 0, 4);
    if (!year || *year == 0)
        return dayFirstDate(text);
    std::string date = formatText("%04d", *year);
    // Some leave the separators out.
    bool isCompact = text.size() == 8 && digitsAt(text, 0, 8);
    if (!isCompact && text.size() > 4 && isDigit(text[4]))
        return std::nullopt;
    std::size_t monthAt = isCompact ? 4 : 5;
    std::size_t dayAt = isCompact ? 6 : 8;
    bool hasMark = isCompact || (text.size() > 4 && std::string_view("-/.:").find(text[4]) != std::string_view::npos);
    auto month = hasMark ? digitsAt(text, monthAt, 2) : std::nullopt;
    if (!month || *month < 1 || *month > 12)
        return date;
    date += formatText("-%02d", *month);
    bool hasDay = isCompact || (text.size() > 7 && text[7] == text[4]);
    auto day = hasDay ? digitsAt(text, dayAt, 2) : std::nullopt;
    if (!day || *day < 1 || *day > 31)
        return date;
    date += formatText("-%02d", *day);
    if (!isCompact && text.size() > 10 && (text[10] == 'T' || text[10] == ' '))
        date += clockOf(text.substr(11));
    return date;
}

void TagTexts::keep(TagField field, bool legacy, std::string_view text)
{
    constexpr std::string_view Mark = "\xEF\xBB\xBF";
    text = untilZero(text);
    if (text.starts_with(Mark))
        text.remove_prefix(Mark.size());
    if (text.empty() || text.size() > m_bytesLeft)
        return;
    std::size_t same = 0;
    for (const Entry& entry : m_entries) {
        if (entry.field != field)
            continue;
        if (entry.tag != m_tag || ++same == MaxValues)
            return;
    }
    m_bytesLeft -= text.size();
    m_entries.push_back({ field, m_tag, legacy, std::string(text) });
}

void TagTexts::add(TagField field, std::string_view utf8) { keep(field, false, utf8); }

void TagTexts::addLegacy(TagField field, ByteView text) { keep(field, true, charsOf(text)); }

void TagTexts::addUtf8OrLegacy(TagField field, ByteView text)
{
    std::string_view chars = untilZero(charsOf(text));
    keep(field, !isValidUtf8(chars), chars);
}

TagTexts::Values TagTexts::values() const
{
    std::string together;
    for (const Entry& entry : m_entries) {
        if (entry.legacy)
            (together += entry.text) += '\n';
    }
    Charset charset = guessedCharset(bytesOf(together));
    Values values;
    for (const Entry& entry : m_entries) {
        std::string text = entry.legacy ? utf8FromCharset(charset, bytesOf(entry.text)) : cleanedUtf8(entry.text);
        if (!text.empty())
            values[static_cast<std::size_t>(entry.field)].push_back(std::move(text));
    }
    return values;
}

void TagTexts::putInto(Facts& facts) const
{
    Values values = this->values();
    auto of = [&](TagField field) -> std::vector<std::string>& { return values[static_cast<std::size_t>(field)]; };
    auto putText = [&](std::string_view key, TagField field) {
        if (!of(field).empty())
            facts.set(key, std::move(of(field).front()));
    };
    auto putTexts = [&](std::string_view key, TagField field) {
        if (!of(field).empty())
            facts.set(key, std::move(of(field)));
    };
    putText(fact::Title, TagField::Title);
    putText(fact::Album, TagField::Album);
    putTexts(fact::Artist, TagField::Artist);
    putTexts(fact::AlbumArtist, TagField::AlbumArtist);
    putTexts(fact::Composer, TagField::Composer);
    putTexts(fact::Genre, TagField::Genre);
    putTexts(fact::Comment, TagField::Comment);
    putPlace(facts, of(TagField::Track), of(TagField::TrackTotal), fact::TrackNumber, fact::TrackTotal);
    putPlace(facts, of(TagField::Disc), of(TagField::DiscTotal), fact::DiscNumber, fact::DiscTotal);
    if (auto date = preciseDateOf(of(TagField::Date)))
        facts.set(fact::ContentCreated, std::move(*date));
    putText(fact::AsText, TagField::Lyrics);
    // Fractions of a beat are cut off.
    auto tempo = of(TagField::Tempo).empty() ? std::nullopt : positiveNumber(of(TagField::Tempo).front());
    if (tempo)
        facts.set(fact::AudioBpm, *tempo);
    if (!of(TagField::Compilation).empty())
        facts.set(fact::Compilation, saysYes(of(TagField::Compilation).front()));
    facts.set(fact::HasPicture, m_hasPicture);
}

} // namespace mv
