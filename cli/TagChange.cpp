#include "cli/TagChange.h"

#include "Base/Core/Text.h"
#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/InputPath.h"
#include "cli/PictureDecoding.h"
#include "cli/PictureFile.h"
#include "client/TagFields.h"
#include "system/InputFile.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

using Kind = TagField::Kind;

constexpr std::array Fields {
    TagField { TagFieldNames[0], MediaDBMusicColumnTitle, Kind::Text },
    TagField { TagFieldNames[1], MediaDBMusicColumnArtist, Kind::Text },
    TagField { TagFieldNames[2], MediaDBMusicColumnAlbum, Kind::Text },
    TagField { TagFieldNames[3], MediaDBMusicColumnAlbumArtist, Kind::Text },
    TagField { TagFieldNames[4], MediaDBMusicColumnComposer, Kind::Text },
    TagField { TagFieldNames[5], MediaDBMusicColumnGenre, Kind::Text },
    TagField { TagFieldNames[6], MediaDBMusicColumnDateReleased, Kind::Text },
    TagField { TagFieldNames[7], MediaDBCommonColumnReservedText, Kind::Text },
    TagField { TagFieldNames[8], MediaDBMusicColumnTrackNo, Kind::Number },
    TagField { TagFieldNames[9], MediaDBMusicColumnDiscNo, Kind::Number },
    TagField { TagFieldNames[10], MediaDBMusicColumnAlbumArt, Kind::Picture },
};

// A track number is one byte in the ID3 writer.
constexpr int MaxNumber = 255;
// The whole message must stay below the bus's limit.
constexpr std::uint64_t MaxPictureBytes = 16u << 20;

Error misuse(const std::string& text) { return { Error::Kind::Format, text }; }

Result<Value> pictureValue(const std::string& name)
{
    MV_TRY(path, inputPath(name));
    MV_TRY(content, readWholeFile(path, MaxPictureBytes));
    bool isJpeg = content.size() > 3 && content[0] == 0xff && content[1] == 0xd8 && content[2] == 0xff;
    if (isJpeg)
        return Value(std::move(content));
    // Covers are JPEG pictures in every format; the ID3 writer would call any other bytes so as well.
    MV_TRY(bitmap, decodedPicture(content));
    MV_TRY(jpeg, jpegOf(flattened(std::move(bitmap), Color::white())));
    return Value(std::move(jpeg));
}

/// "3", or "3/12" with a total that is not smaller.
Result<PlaceInSet> placeFor(const TagField& field, const std::string& text)
{
    auto slash = text.find('/');
    MV_TRY(number, numberIn(field.name, text.substr(0, slash), 1, MaxNumber));
    if (slash == std::string::npos)
        return PlaceInSet { number, 0 };
    MV_TRY(total, numberIn(field.name, text.substr(slash + 1), 1, MaxNumber));
    if (total < number)
        return misuse(formatText("--%s %s: there is no %d among %d", field.name, text.c_str(), number, total));
    return PlaceInSet { number, total };
}

Result<Value> valueFor(const TagField& field, const std::string& text)
{
    switch (field.kind) {
    case Kind::Text:
        if (!isValidUtf8(text))
            return misuse(formatText("the %s is not UTF-8", field.name));
        return Value(text);
    case Kind::Number: {
        MV_TRY(place, placeFor(field, text));
        return Value(std::int32_t { place.index });
    }
    case Kind::Picture: {
        auto picture = pictureValue(text);
        // A file that failed, and no slip in the command line.
        if (!picture)
            return Error { Error::Kind::Io, text + ": " + picture.error().text };
        return picture;
    }
    }
    return Value();
}

} // namespace

std::span<const TagField> tagFields() { return Fields; }

Result<std::vector<TagChange>> tagChanges(const Arguments& arguments)
{
    std::vector<TagChange> changes;
    for (const TagField& field : Fields) {
        if (!arguments.has(field.name))
            continue;
        std::string text = arguments.value(field.name);
        MV_TRY(value, valueFor(field, text));
        int total = field.kind == Kind::Number ? placeFrom(text).total : 0;
        // Not by an aggregate: g++ 12 takes moving one for a use of what is not initialised.
        TagChange& change = changes.emplace_back();
        change.field = &field;
        change.value = std::move(value);
        change.total = total;
    }
    const std::vector<std::string> cleared = arguments.values("clear");
    for (const TagField& field : Fields) {
        if (std::find(cleared.begin(), cleared.end(), field.name) == cleared.end())
            continue;
        if (arguments.has(field.name))
            return misuse(formatText("the %s cannot be set and cleared at once", field.name));
        changes.emplace_back().field = &field;
    }
    return changes;
}

Result<Record> recordForUpdate(std::int32_t mediaType, const Record& current, const std::vector<TagChange>& changes)
{
    if (!hasWritableTags(mediaType))
        return misuse("only MP3 and M4A files have tags that the service writes");
    Record record = recordKeepingTags(mediaType, current);
    for (const TagChange& change : changes) {
        if (!isTagField(mediaType, change.field->key))
            return misuse(formatText(
                "the service writes no %s into %s files", change.field->name, MVMediaTypeReader::typeName(mediaType)));
        record.set(
            change.field->key, change.value.isNull() ? emptyTagField(mediaType, change.field->key) : change.value);
    }
    return record;
}

TagTotals totalsForUpdate(std::int32_t mediaType, const TagTotals& present, const std::vector<TagChange>& changes)
{
    TagTotals totals;
    for (const TagChange& change : changes) {
        if (change.field->kind != Kind::Number || change.value.isNull())
            continue;
        bool isTrack = change.field->key == MediaDBMusicColumnTrackNo;
        PlaceInSet& place = isTrack ? totals.track : totals.disc;
        place = { change.value.integerValue().value_or(0), change.total };
        bool isDropped = isTrack && mediaType == MVMediaTypeMP3 && change.total == 0;
        if (isDropped && present.track.total >= place.index)
            place.total = present.track.total;
    }
    return totals;
}

bool isDone(const TagChange& change, const Record& now)
{
    const Value* value = now.find(change.field->key);
    switch (change.field->kind) {
    case Kind::Picture:
        return change.value.isNull() == (value == nullptr);
    case Kind::Number:
        return (value ? value->integerValue().value_or(0) : 0) == change.value.integerValue().value_or(0);
    case Kind::Text:
        break;
    }
    std::string wanted = change.value.string() ? *change.value.string() : "";
    std::string found = value && value->string() ? *value->string() : "";
    // The parser's word for "no genre".
    bool unknownGenre = change.field->key == MediaDBMusicColumnGenre && wanted.empty() && found == "Unknown";
    return wanted == found || unknownGenre;
}

} // namespace mv::cli
