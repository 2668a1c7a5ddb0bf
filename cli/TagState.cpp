#include "cli/TagState.h"

#include "cli/Terminal.h"
#include "cli/text/ReadableText.h"

#include <algorithm>

namespace mv::cli {

namespace {

using Kind = TagField::Kind;

constexpr std::size_t NameColumns = 13;
constexpr std::size_t ValueColumns = 30;
constexpr const char* Nothing = "-";

std::string joined(const std::vector<std::string>& texts)
{
    std::string all;
    for (const std::string& text : texts)
        all += (all.empty() ? "" : "; ") + text;
    return all;
}

std::string shownNumber(const TagField& field, const Facts& facts)
{
    const auto* number = facts.get<std::int32_t>(field.key);
    const auto* total = facts.get<std::int32_t>(field.totalKey);
    if (!number && !total)
        return Nothing;
    return (number ? std::to_string(*number) : "") + (total ? "/" + std::to_string(*total) : "");
}

std::string shown(const TagField& field, const TagState& state)
{
    if (field.kind == Kind::Picture)
        return state.cover.empty() ? Nothing : state.cover;
    if (field.kind == Kind::Number)
        return shownNumber(field, state.facts);
    if (const auto* text = state.facts.get<std::string>(field.key))
        return terminalText(*text);
    const auto* texts = state.facts.get<std::vector<std::string>>(field.key);
    return texts ? terminalText(joined(*texts)) : Nothing;
}

std::string row(const TagField& field, const std::string& before, const std::string& after)
{
    const char* arrow = before == after ? "   " : "-> ";
    return "  " + padded(field.name, NameColumns) + padded(before, ValueColumns) + " " + arrow + after + "\n";
}

/// The fact that a value makes; nothing for one that removes it.
std::optional<FactValue> factOf(const TagValue& value)
{
    if (const auto* text = std::get_if<std::string>(&value); text && !text->empty())
        return FactValue(*text);
    if (const auto* texts = std::get_if<std::vector<std::string>>(&value); texts && !texts->empty())
        return FactValue(*texts);
    if (const auto* number = std::get_if<std::int32_t>(&value); number && *number != 0)
        return FactValue(*number);
    return std::nullopt;
}

bool isRemoval(const TagValue& value)
{
    const auto* bytes = std::get_if<Bytes>(&value);
    bool isFile = std::holds_alternative<BorrowedFile>(value);
    return !isFile && (bytes ? bytes->empty() : !factOf(value).has_value());
}

std::string withoutBlanks(const std::string& text)
{
    std::size_t begin = text.find_first_not_of(" \t\r\n");
    return begin == std::string::npos ? "" : text.substr(begin, text.find_last_not_of(" \t\r\n") - begin + 1);
}

/// Formats keep no blanks at the ends of a text.
bool isSame(const FactValue& one, const FactValue& other)
{
    const auto* text = std::get_if<std::string>(&one);
    const auto* otherText = std::get_if<std::string>(&other);
    if (text && otherText)
        return withoutBlanks(*text) == withoutBlanks(*otherText);
    const auto* texts = std::get_if<std::vector<std::string>>(&one);
    const auto* others = std::get_if<std::vector<std::string>>(&other);
    if (texts && others)
        return std::equal(texts->begin(), texts->end(), others->begin(), others->end(),
            [](const auto& a, const auto& b) { return withoutBlanks(a) == withoutBlanks(b); });
    return one == other;
}

bool isShown(std::string_view key, const TagValue& value, const Facts& facts)
{
    const FactValue* found = facts.find(key);
    auto wanted = factOf(value);
    return wanted ? found && isSame(*wanted, *found) : !found;
}

bool isShownInPart(std::string_view key, const TagValue& value, const Facts& facts)
{
    const auto* wanted = std::get_if<std::string>(&value);
    const auto* found = facts.get<std::string>(key);
    return key == fact::ContentCreated && wanted && found && wanted->starts_with(*found);
}

/// The option's name where the tag has one of its own, else the key.
std::string nameOf(std::string_view key)
{
    for (const TagField& field : tagFields()) {
        if (field.key == key)
            return field.name;
        if (field.totalKey == key && !key.empty())
            return field.name + std::string(" total");
    }
    return std::string(key);
}

} // namespace

TagState stateWith(TagState state, const MediaTags& tags, const std::string& cover)
{
    TagState made;
    made.cover = state.cover;
    auto isNamed = [&](std::string_view key) {
        return std::any_of(tags.begin(), tags.end(), [&](const auto& tag) { return tag.first == key; });
    };
    for (auto& [key, value] : state.facts.entries()) {
        if (!isNamed(key))
            made.facts.set(key, value);
    }
    for (const auto& [key, value] : tags) {
        if (key == FrontCoverTag)
            made.cover = isRemoval(value) ? "" : cover;
        else if (auto wanted = factOf(value))
            made.facts.set(key, std::move(*wanted));
    }
    return made;
}

MediaTags differingTags(MediaTags tags, const TagState& present)
{
    std::erase_if(tags, [&](const auto& tag) {
        if (tag.first == FrontCoverTag)
            return isRemoval(tag.second) && present.cover.empty();
        return isShown(tag.first, tag.second, present.facts);
    });
    return tags;
}

std::string tagRows(const TagState& before, const TagState& after)
{
    std::string rows;
    for (const TagField& field : tagFields()) {
        std::string old = shown(field, before);
        std::string now = shown(field, after);
        if (old != Nothing || now != Nothing)
            rows += row(field, old, now);
    }
    return rows;
}

std::string missingTags(const MediaTags& tags, const Facts& now)
{
    std::string missing;
    for (const auto& [key, value] : tags) {
        bool isThere = key == FrontCoverTag || isShown(key, value, now) || isShownInPart(key, value, now);
        if (!isThere)
            missing += (missing.empty() ? "" : ", ") + nameOf(key);
    }
    return missing;
}

} // namespace mv::cli
