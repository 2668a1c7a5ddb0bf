#include "cli/TagChange.h"

#include "Base/Core/Text.h"
#include "cli/InputPath.h"
#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "service/job/TagChanges.h"
#include "system/InputFile.h"

#include <algorithm>

namespace mv::cli {

namespace {

using Kind = TagField::Kind;

constexpr std::array Fields {
    TagField { TagFieldNames[0], fact::Title, Kind::Text },
    TagField { TagFieldNames[1], fact::Artist, Kind::Texts },
    TagField { TagFieldNames[2], fact::Album, Kind::Text },
    TagField { TagFieldNames[3], fact::AlbumArtist, Kind::Texts },
    TagField { TagFieldNames[4], fact::Composer, Kind::Texts },
    TagField { TagFieldNames[5], fact::Genre, Kind::Texts },
    TagField { TagFieldNames[6], fact::ContentCreated, Kind::Date },
    TagField { TagFieldNames[7], fact::Comment, Kind::Texts },
    TagField { TagFieldNames[8], fact::TrackNumber, Kind::Number, fact::TrackTotal },
    TagField { TagFieldNames[9], fact::DiscNumber, Kind::Number, fact::DiscTotal },
    TagField { TagFieldNames[10], FrontCoverTag, Kind::Picture },
};
constexpr std::string_view OtherCoverName = TagFieldNames[Fields.size()];

// The whole message must stay below the bus's limit.
constexpr std::uint64_t MaxPictureBytes = 16u << 20;

Error misuse(const std::string& text) { return { Error::Kind::Format, text }; }

/// What the option "--cover" and its older form "--art" are given.
Result<TagValue> pictureValue(const std::string& name, bool keepsPng)
{
    auto cover = [&]() -> Result<Bytes> {
        MV_TRY(path, inputPath(name));
        auto content = readWholeFile(path, MaxPictureBytes);
        if (!content && content.error().kind == Error::Kind::Limit)
            return Error { Error::Kind::Limit, "is larger than a cover may be here, 16 MiB" };
        return content ? coverFrom(std::move(*content), keepsPng) : Result<Bytes>(content.error());
    }();
    // A file that failed, and no slip in the command line.
    if (!cover)
        return Error { Error::Kind::Io, name + ": " + cover.error().text };
    return TagValue(std::move(cover).value());
}

struct Place {
    int number = 0;
    int total = 0;
};

/// "3", or "3/12" with a total that is not smaller.
Result<Place> placeFor(const TagField& field, const std::string& text)
{
    auto slash = text.find('/');
    MV_TRY(number, numberIn(field.name, text.substr(0, slash), 1, MaxTagNumber));
    if (slash == std::string::npos)
        return Place { number, 0 };
    MV_TRY(total, numberIn(field.name, text.substr(slash + 1), 1, MaxTagNumber));
    if (total < number)
        return misuse(formatText("--%s %s: there is no %d among %d", field.name, text.c_str(), number, total));
    return Place { number, total };
}

Result<void> checkText(const TagField& field, const std::string& text)
{
    if (!isValidUtf8(text))
        return misuse(formatText("the %s is not UTF-8", field.name));
    if (field.kind == Kind::Date && !text.empty() && !isTagDate(text))
        return misuse(formatText(
            "a %s is YYYY, YYYY-MM, YYYY-MM-DD, or that with THH:MM:SS behind, not \"%s\"", field.name, text.c_str()));
    return {};
}

/// Of an option that was given with those values; the last one counts where the field has one value.
Result<TagChange> changeOf(const TagField& field, const std::vector<std::string>& values)
{
    // Not by an aggregate: g++ 12 takes moving one for a use of what is not initialised.
    TagChange change;
    change.field = &field;
    for (const std::string& text : values)
        MV_TRY_VOID(checkText(field, text));
    if (field.kind == Kind::Number && values.back().empty()) {
        change.value = TagValue();
    } else if (field.kind == Kind::Number) {
        MV_TRY(place, placeFor(field, values.back()));
        change.value = std::int32_t { place.number };
        change.total = place.total;
    } else if (field.kind == Kind::Texts) {
        std::vector<std::string> texts;
        std::copy_if(values.begin(), values.end(), std::back_inserter(texts), [](auto& text) { return !text.empty(); });
        if (!texts.empty())
            change.value = std::move(texts);
    } else if (!values.back().empty()) {
        change.value = values.back();
    }
    return change;
}

Result<std::optional<TagChange>> coverChange(const TagField& field, const Arguments& arguments)
{
    bool isOlder = arguments.has(OtherCoverName);
    if (isOlder && arguments.has(field.name))
        return misuse("--cover and --art are two names of one field");
    if (!isOlder && !arguments.has(field.name))
        return std::optional<TagChange> {};
    TagChange change;
    change.field = &field;
    if (std::string name = arguments.value(isOlder ? OtherCoverName : field.name); !name.empty()) {
        MV_TRY(value, pictureValue(name, !isOlder));
        change.value = std::move(value);
    }
    return std::optional(std::move(change));
}

Result<std::optional<TagChange>> givenChange(const TagField& field, const Arguments& arguments)
{
    if (field.kind == Kind::Picture)
        return coverChange(field, arguments);
    if (!arguments.has(field.name))
        return std::optional<TagChange> {};
    MV_TRY(change, changeOf(field, arguments.values(field.name)));
    return std::optional(std::move(change));
}

/// --clear and --remove mean the same.
bool isRemoved(const TagField& field, const Arguments& arguments)
{
    std::vector<std::string> names = arguments.values("remove");
    for (const std::string& name : arguments.values("clear"))
        names.push_back(name);
    return std::any_of(names.begin(), names.end(), [&](const auto& name) { return tagFieldNamed(name) == &field; });
}

} // namespace

std::span<const TagField> tagFields() { return Fields; }

const TagField* tagFieldNamed(std::string_view name)
{
    if (name == OtherCoverName)
        return &Fields.back();
    const auto* found = std::find_if(Fields.begin(), Fields.end(), [&](const auto& one) { return one.name == name; });
    return found == Fields.end() ? nullptr : found;
}

Result<std::vector<TagChange>> tagChanges(const Arguments& arguments)
{
    std::vector<TagChange> changes;
    for (const TagField& field : Fields) {
        MV_TRY(given, givenChange(field, arguments));
        bool isGone = isRemoved(field, arguments);
        if (given && isGone)
            return misuse(formatText("the %s cannot be set and cleared at once", field.name));
        if (given)
            changes.push_back(std::move(*given));
        else if (isGone)
            changes.emplace_back().field = &field;
    }
    return changes;
}

void removeSmallerTotals(MediaTags& tags, const Facts& present)
{
    auto valueOf = [&](std::string_view key) {
        auto found = std::ranges::find(tags, key, &MediaTags::value_type::first);
        return found == tags.end() ? nullptr : &found->second;
    };
    for (const TagField& field : Fields) {
        const TagValue* wanted = field.totalKey.empty() ? nullptr : valueOf(field.key);
        const auto* number = wanted ? std::get_if<std::int32_t>(wanted) : nullptr;
        const auto* total = number ? present.get<std::int32_t>(field.totalKey) : nullptr;
        const auto* now = present.get<std::int32_t>(field.key);
        const bool isNew = number && (!now || *now != *number);
        if (isNew && total && *total < *number && !valueOf(field.totalKey))
            tags.emplace_back().first = field.totalKey;
    }
}

MediaTags tagsFor(const std::vector<TagChange>& changes, const Facts& present)
{
    MediaTags tags;
    for (const TagChange& change : changes) {
        tags.emplace_back(change.field->key, change.value);
        if (change.field->kind != Kind::Number)
            continue;
        const auto* number = std::get_if<std::int32_t>(&change.value);
        const auto* total = present.get<std::int32_t>(change.field->totalKey);
        if (change.total > 0)
            tags.emplace_back(change.field->totalKey, std::int32_t { change.total });
        else if (total && !number)
            tags.emplace_back().first = change.field->totalKey; // it goes
    }
    removeSmallerTotals(tags, present);
    return tags;
}

Result<Bytes> coverFrom(Bytes picture, bool keepsPng)
{
    std::string_view type = coverMimeType(picture);
    if (type == "image/jpeg" || (type == "image/png" && keepsPng))
        return picture;
    MV_TRY(bitmap, decodedPicture(picture));
    return jpegOf(flattened(std::move(bitmap), Color::white()));
}

} // namespace mv::cli
