#include "cli/TagJson.h"

#include "Base/Core/FileUri.h"
#include "Base/Core/Text.h"
#include "service/job/TagChanges.h"

#include <algorithm>
#include <nlohmann/json.hpp>

namespace mv::cli {

namespace {

using Json = nlohmann::json;

constexpr const char* PathKey = "path";

Error fault(std::string_view key, const char* expected)
{
    return { Error::Kind::Format, "\"" + std::string(key) + "\" takes " + expected + ", or null" };
}

/// Nothing for what is no text that a tag can hold.
const std::string* textIn(const Json& value)
{
    const auto* text = value.get_ptr<const std::string*>();
    return text && text->find('\0') == std::string::npos ? text : nullptr;
}

Result<TagValue> textValue(std::string_view key, const Json& value)
{
    const std::string* text = textIn(value);
    if (!text)
        return fault(key, "a text");
    if (key == fact::ContentCreated && !text->empty() && !isTagDate(*text))
        return fault(key, "a date, YYYY or YYYY-MM-DD or with a time behind");
    return TagValue(*text);
}

Result<TagValue> textsValue(std::string_view key, const Json& value)
{
    std::vector<std::string> texts;
    auto add = [&](const Json& one) {
        const std::string* text = textIn(one);
        if (text && !text->empty())
            texts.push_back(*text);
        return text != nullptr;
    };
    bool isGood = value.is_array() ? std::all_of(value.begin(), value.end(), add) : add(value);
    if (!isGood)
        return fault(key, "a list of texts");
    return TagValue(std::move(texts));
}

Result<TagValue> numberValue(std::string_view key, const Json& value)
{
    if (value.is_number_integer()) {
        // What is larger than the type is no smaller number.
        auto number = value.is_number_unsigned() && value.get<std::uint64_t>() > MaxTagNumber
            ? std::int64_t { MaxTagNumber } + 1
            : value.get<std::int64_t>();
        if (number >= 0 && number <= MaxTagNumber)
            return TagValue(static_cast<std::int32_t>(number));
    }
    return fault(key, "a whole number from 0 to 65535");
}

Result<TagValue> tagValue(std::string_view key, const Json& value)
{
    if (value.is_null())
        return TagValue();
    if (key == FrontCoverTag)
        return Error { Error::Kind::Format, "\"" + std::string(key) + "\" takes nothing but null here" };
    switch (FactRows[*factRowOf(key)].type) {
    case FactType::Text:
        return textValue(key, value);
    case FactType::Texts:
        return textsValue(key, value);
    default:
        return numberValue(key, value);
    }
}

const std::string* textAt(const Json& object, std::string_view key)
{
    auto found = object.find(std::string(key));
    return found == object.end() ? nullptr : found->get_ptr<const std::string*>();
}

Result<std::string> fileOf(const Json& object)
{
    constexpr std::string_view InPlaceOfBytes = "\uFFFD";
    const std::string* path = textAt(object, PathKey);
    const std::string* url = textAt(object, fact::Url);
    bool isPath = path && !path->empty();
    // A name that is not UTF-8 is whole in the URI alone.
    if (isPath && (!url || path->find(InPlaceOfBytes) == std::string::npos))
        return *path;
    if (url)
        return pathOfFileUri(*url);
    return Error { Error::Kind::Format, "names no file: it has neither \"path\" nor \"xesam:url\"" };
}

} // namespace

Result<JsonTags> jsonTagsOf(std::string_view line)
{
    Json object = Json::parse(line, nullptr, false);
    if (!object.is_object())
        return Error { Error::Kind::Format, "is no JSON object" };
    MV_TRY(file, fileOf(object));
    JsonTags tags { std::move(file), {} };
    for (const auto& [key, value] : object.items()) {
        if (!tagKeyOf(key) && key != FrontCoverTag)
            continue;
        MV_TRY(tag, tagValue(key, value));
        tags.tags.emplace_back(key, std::move(tag));
    }
    return tags;
}

} // namespace mv::cli
