#include "cli/naming/FileName.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <array>
#include <span>

namespace mv::cli {

namespace {

constexpr std::size_t MaxEndingBytes = 16;
constexpr std::string_view Blanks = " ";

/// The name of a folder or file on its way.
struct Name {
    std::string text;
    bool beginsWithValue = false;
};

/// The bytes of the character at that place of valid UTF-8.
std::size_t lengthOfCharacter(char first)
{
    auto byte = static_cast<unsigned char>(first);
    return byte < 0x80 ? 1 : byte < 0xe0 ? 2 : byte < 0xf0 ? 3 : 4;
}

bool isOneOf(std::string_view character, std::span<const std::string_view> all)
{
    return std::find(all.begin(), all.end(), character) != all.end();
}

/// Controls, line and paragraph separators, and what turns the direction of the text behind it: "gpj.exe".
bool isHarmful(std::string_view character)
{
    static constexpr std::array<std::string_view, 11> Turning { "\u2028", "\u2029", "\u202a", "\u202b", "\u202c",
        "\u202d", "\u202e", "\u2066", "\u2067", "\u2068", "\u2069" };
    auto first = static_cast<unsigned char>(character[0]);
    bool isC1 = character.size() == 2 && first == 0xc2 && static_cast<unsigned char>(character[1]) < 0xa0;
    return first < 0x20 || first == 0x7f || isC1 || isOneOf(character, Turning);
}

bool isRefusedElsewhere(std::string_view character)
{
    return character.size() == 1 && std::string_view("\\:*?\"<>|").find(character[0]) != std::string_view::npos;
}

void append(std::string& to, std::string_view text, NameRules rules, bool isValue)
{
    std::string clean = cleanedUtf8(text);
    for (std::size_t at = 0; at < clean.size();) {
        std::string_view character = std::string_view(clean).substr(at, lengthOfCharacter(clean[at]));
        at += character.size();
        if (isValue && character == "/")
            to += '-';
        else if (isHarmful(character) || (rules == NameRules::Portable && isRefusedElsewhere(character)))
            to += '_';
        else
            to += character;
    }
}

std::vector<Name> namesOf(const std::vector<NamePiece>& pieces, NameRules rules)
{
    std::vector<Name> names(1);
    auto add = [&](std::string_view text, bool isValue) {
        // Blanks at the front will go.
        bool isFront = names.back().text.find_first_not_of(Blanks) == std::string::npos;
        if (isFront && !text.empty())
            names.back().beginsWithValue = isValue;
        append(names.back().text, text, rules, isValue);
    };
    for (const NamePiece& piece : pieces) {
        std::string_view rest = piece.text;
        while (!piece.isValue && rest.find('/') != std::string_view::npos) {
            add(rest.substr(0, rest.find('/')), false);
            rest.remove_prefix(rest.find('/') + 1);
            names.emplace_back();
        }
        add(rest, piece.isValue);
    }
    return names;
}

void trim(std::string& text)
{
    text.erase(0, std::min(text.find_first_not_of(Blanks), text.size()));
    text.erase(text.find_last_not_of(Blanks) + 1);
}

/// Names of devices on another system, whatever the case and whatever is behind a dot.
bool isDeviceName(std::string_view name)
{
    static constexpr std::array<std::string_view, 4> Devices { "CON", "PRN", "AUX", "NUL" };
    std::string stem = toUpperAscii(name.substr(0, name.find('.')));
    stem.erase(stem.find_last_not_of(Blanks) + 1);
    bool isPort
        = stem.size() == 4 && (stem.starts_with("COM") || stem.starts_with("LPT")) && stem[3] >= '1' && stem[3] <= '9';
    return isPort || isOneOf(stem, Devices);
}

void hideNoName(Name& name)
{
    std::string& text = name.text;
    std::size_t dots = std::min(text.find_first_not_of('.'), text.size());
    // What begins with a dot is not shown, and ".." leads out.
    if (name.beginsWithValue || dots == text.size())
        std::fill_n(text.begin(), dots, '_');
}

Result<std::string> finished(Name name, std::string_view ending, NameRules rules)
{
    std::string& text = name.text;
    trim(text);
    hideNoName(name);
    if (isDeviceName(text))
        text.insert(0, "_");
    std::string tail = ending.empty() ? "" : "." + std::string(ending);
    text = truncatedUtf8(text, MaxNameBytes - std::min(tail.size(), MaxNameBytes));
    text.erase(text.find_last_not_of(Blanks) + 1);
    if (text.empty())
        return Error { Error::Kind::Format, "would get a name, or a folder, without a character" };
    text += tail;
    if (rules == NameRules::Portable && (text.back() == '.' || text.back() == ' '))
        text.back() = '_';
    return std::move(text);
}

} // namespace

Result<std::string> relativePathOf(const std::vector<NamePiece>& pieces, std::string_view ending, NameRules rules)
{
    std::vector<Name> names = namesOf(pieces, rules);
    std::string path;
    for (std::size_t i = 0; i < names.size(); ++i) {
        bool isLast = i + 1 == names.size();
        MV_TRY(name, finished(std::move(names[i]), isLast ? ending : std::string_view(), rules));
        path += (i > 0 ? "/" : "") + name;
    }
    if (path.size() > MaxRelativePathBytes)
        return Error { Error::Kind::Limit, "would get a path that is too long" };
    return path;
}

std::string_view endingOf(std::string_view name)
{
    std::size_t dot = name.rfind('.');
    if (dot == std::string_view::npos || dot == 0)
        return {};
    std::string_view ending = name.substr(dot + 1);
    bool isNone = ending.size() > MaxEndingBytes || ending.find(' ') != std::string_view::npos;
    return isNone ? std::string_view() : ending;
}

} // namespace mv::cli
