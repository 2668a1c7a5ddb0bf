#include "Base/Media/MVMediaTypeReader.h"
#include "Base/Media/MediaDB.h"
#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/RecordText.h"
#include "cli/ServiceAccess.h"
#include "cli/TagChange.h"
#include "cli/Terminal.h"
#include "client/MediaInfoClient.h"
#include "client/TagClient.h"

#include <cstdio>

namespace mv::cli {

namespace {

constexpr const char* Name = "tag";
constexpr std::size_t NameColumns = 13;
constexpr std::size_t ValueColumns = 30;

std::string shown(const Record& record, const TagField& field)
{
    const Value* value = record.find(field.key);
    return value ? readableValue(field.key, *value) : "-";
}

std::string planned(const TagChange& change)
{
    return change.value.isNull() ? "-" : readableValue(change.field->key, change.value);
}

void printRow(const TagField& field, const std::string& before, const std::string& after)
{
    const char* arrow = before == after ? "   " : "-> ";
    std::string row = "  " + padded(field.name, NameColumns) + padded(before, ValueColumns) + " " + arrow + after;
    std::puts(row.c_str());
}

Result<Record> currentRecord(ServiceBus& bus, const Path& path)
{
    MV_TRY(record, describeFile(bus, path));
    if (!record)
        return Error { Error::Kind::Format, "is no file that the service can describe" };
    return std::move(*record);
}

/// Every field that the file has or that changes.
void printPlan(const std::string& file, const Record& before, const std::vector<TagChange>& changes)
{
    std::puts(terminalText(file).c_str());
    for (const TagField& field : tagFields()) {
        std::string old = shown(before, field);
        std::string now = old;
        for (const TagChange& change : changes)
            now = change.field == &field ? planned(change) : now;
        if (old != "-" || now != "-")
            printRow(field, old, now);
    }
}

void printOutcome(const std::string& file, const Record& before, const Record& after)
{
    std::puts(terminalText(file).c_str());
    for (const TagField& field : tagFields()) {
        std::string old = shown(before, field);
        std::string now = shown(after, field);
        if (old != "-" || now != "-")
            printRow(field, old, now);
    }
}

Result<void> checkOutcome(const Record& after, const std::vector<TagChange>& changes)
{
    std::string missing;
    for (const TagChange& change : changes) {
        if (!isDone(change, after))
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
    MV_TRY(before, currentRecord(bus, path));
    if (dryRun || changes.empty()) {
        printPlan(file, before, changes);
        return {};
    }
    MV_TRY(update, recordForUpdate(mediaType, before, changes));
    MV_TRY(updated, TagClient(bus).updateTag(path, update));
    if (!updated)
        return Error { Error::Kind::State, "the service could not write the tag" };
    MV_TRY(after, currentRecord(bus, path));
    printOutcome(file, before, after);
    return checkOutcome(after, changes);
}

int run(const Arguments& arguments)
{
    auto changes = tagChanges(arguments);
    if (!changes) {
        complain(Name, changes.error().text);
        return 1;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    int status = 0;
    for (const std::string& file : arguments.files()) {
        auto changed = changeTag(*service->bus, file, *changes, arguments.has("dry-run"));
        if (changed)
            continue;
        complain(Name, file, sentenceFor(changed.error()));
        status = 1;
    }
    return status;
}

constexpr std::array kOptions {
    Option { "title", "TEXT", "" },
    Option { "artist", "TEXT", "" },
    Option { "album", "TEXT", "" },
    Option { "album-artist", "TEXT", "M4A only" },
    Option { "composer", "TEXT", "" },
    Option { "genre", "TEXT", "" },
    Option { "date", "TEXT", "of release; M4A only" },
    Option { "comment", "TEXT", "MP3 only" },
    Option { "track", "NUMBER", "" },
    Option { "disc", "NUMBER", "M4A only" },
    Option { "art", "PICTURE", "the cover; whatever is no JPEG is made one" },
    Option { "clear", "FIELD", "empty a field, named like its option; may be given several times" },
    Option { "dry-run", nullptr, "show what would change, and change nothing" },
};

} // namespace

const Command tagCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE...",
    .summary = "Change the tags of MP3 and M4A files",
    .details = "Shows every field before and after. Fields that are not named keep their values. Without a change the\n"
               "fields are only shown. A file is rewritten whole or not at all.",
    .options = kOptions,
    .minimumFiles = 1,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
