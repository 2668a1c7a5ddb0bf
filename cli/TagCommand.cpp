#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/Interruption.h"
#include "cli/Output.h"
#include "cli/RecordText.h"
#include "cli/ServiceAccess.h"
#include "cli/TagChange.h"
#include "cli/Terminal.h"
#include "client/MediaInfoClient.h"
#include "client/TagClient.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "tag";
constexpr std::size_t NameColumns = 13;
constexpr std::size_t ValueColumns = 30;

/// What a file's tag says: the service's record, and what it has no place for.
struct TagState {
    Record record;
    TagTotals totals;
};

std::string withTotal(const TagField& field, const std::string& number, const TagTotals& totals)
{
    int total = field.key == MediaDBMusicColumnTrackNo ? totals.track.total
        : field.key == MediaDBMusicColumnDiscNo        ? totals.disc.total
                                                       : 0;
    return total > 0 ? number + "/" + std::to_string(total) : number;
}

std::string shown(const TagState& state, const TagField& field)
{
    const Value* value = state.record.find(field.key);
    return value ? withTotal(field, readableValue(field.key, *value), state.totals) : "-";
}

std::string row(const TagField& field, const std::string& before, const std::string& after)
{
    const char* arrow = before == after ? "   " : "-> ";
    return "  " + padded(field.name, NameColumns) + padded(before, ValueColumns) + " " + arrow + after + "\n";
}

/// Every field that the file has, or is to have.
void printFields(const std::string& file, const TagState& before, const TagState& after)
{
    std::string text = terminalText(file) + "\n";
    for (const TagField& field : tagFields()) {
        std::string old = shown(before, field);
        std::string now = shown(after, field);
        if (old != "-" || now != "-")
            text += row(field, old, now);
    }
    print(text);
}

/// The state as it would be.
TagState planned(TagState state, const TagTotals& totals, const std::vector<TagChange>& changes)
{
    for (const TagChange& change : changes) {
        if (change.value.isNull())
            state.record.remove(change.field->key);
        else
            state.record.set(change.field->key, change.value);
        if (change.field->key == MediaDBMusicColumnTrackNo)
            state.totals.track = totals.track;
        if (change.field->key == MediaDBMusicColumnDiscNo)
            state.totals.disc = totals.disc;
    }
    return state;
}

Result<TagState> currentState(ServiceBus& bus, const Path& path)
{
    MV_TRY(record, describeFile(bus, path));
    if (!record)
        return Error { Error::Kind::Format, "is no file that the service can describe" };
    return TagState { std::move(*record), readTotals(path) };
}

Result<void> checkOutcome(const TagState& after, const TagTotals& totals, const std::vector<TagChange>& changes)
{
    std::string missing;
    for (const TagChange& change : changes) {
        bool isTrack = change.field->key == MediaDBMusicColumnTrackNo;
        int wanted = isTrack ? totals.track.total : totals.disc.total;
        int found = isTrack ? after.totals.track.total : after.totals.disc.total;
        bool totalIsThere = change.field->kind != TagField::Kind::Number || wanted == 0 || wanted == found;
        if (!isDone(change, after.record) || !totalIsThere)
            missing += (missing.empty() ? "" : ", ") + std::string(change.field->name);
    }
    if (missing.empty())
        return {};
    return Error { Error::Kind::State, "the file does not show the wish for: " + missing };
}

Result<void> changeTag(ServiceBus& bus, const std::string& file, const std::vector<TagChange>& changes, bool dryRun)
{
    MV_TRY(path, inputPath(file));
    std::int32_t mediaType = MVMediaTypeReader::type(path);
    MV_TRY_VOID(recordForUpdate(mediaType, {}, changes));
    MV_TRY(before, currentState(bus, path));
    TagTotals totals = totalsForUpdate(mediaType, before.totals, changes);
    if (dryRun || changes.empty()) {
        printFields(file, before, planned(before, totals, changes));
        return {};
    }
    MV_TRY(update, recordForUpdate(mediaType, before.record, changes));
    MV_TRY(updated, resultOf([&] { return TagClient(bus).updateTagWithDictionary(path, update); }));
    if (!updated)
        return Error { Error::Kind::State, "the service could not write the tag" };
    MV_TRY_VOID(writeTotals(path, mediaType, totals));
    MV_TRY(after, currentState(bus, path));
    printFields(file, before, after);
    return checkOutcome(after, totals, changes);
}

ExitStatus run(const Arguments& arguments)
{
    auto changes = tagChanges(arguments);
    if (!changes && changes.error().kind == Error::Kind::Format)
        return misuse(Name, changes.error().text);
    if (!changes) {
        complain(Name, changes.error().text);
        return ExitStatus::SomeFailed;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    // A file that is being written is finished.
    Interruption interruption;
    ExitStatus status = ExitStatus::Done;
    for (const std::string& file : arguments.files()) {
        if (interruption.asked())
            return ExitStatus::Interrupted;
        auto changed = changeTag(*service->bus, file, *changes, arguments.has("dry-run"));
        if (changed)
            continue;
        complain(Name, file, sentenceFor(changed.error()));
        status = worse(status, statusFor(changed.error()));
    }
    return interruption.asked() ? ExitStatus::Interrupted : status;
}

constexpr std::array Options {
    Option { "title", "TEXT", "the song's title" },
    Option { "artist", "TEXT", "who plays or sings it" },
    Option { "album", "TEXT", "the album's title" },
    Option { "album-artist", "TEXT", "whose album it is; M4A only" },
    Option { "composer", "TEXT", "who wrote it" },
    Option { "genre", "TEXT", "any text; MP3 files store well-known genres by their number" },
    Option { "date", "TEXT", "of release: a year, or YYYY-MM-DD; M4A only" },
    Option { "comment", "TEXT", "a remark; MP3 only" },
    Option { "track", "NUMBER", "its place on the album: 3, or 3/12" },
    Option { "disc", "NUMBER", "the disc's place among several: 1, or 1/2; M4A only" },
    Option { "art", "PICTURE", "the cover; whatever is no JPEG is made one", 0,
        aFile("jpg jpeg png gif bmp tif tiff webp heic avif") },
    Option { "clear", "FIELD", "empty a field, named like its option; may be given several times", 0,
        oneOf(TagFieldNames), true },
    Option { "dry-run", nullptr, "show what would change, and change nothing" },
};

constexpr std::array Files { aFile("mp3 m4a") };

} // namespace

const Command tagCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE...",
    .summary = "Change the tags of MP3 and M4A files",
    .details = "Shows every field before and after. Fields that are not named keep their values. Without a change the\n"
               "fields are only shown. A file is rewritten whole or not at all.",
    .options = Options,
    .files = Files,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
