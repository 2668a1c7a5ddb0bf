#include "cli/Command.h"
#include "cli/FactBatches.h"
#include "cli/FactDescribing.h"
#include "cli/RecordDescribing.h"
#include "cli/Terminal.h"

namespace mv::cli {

namespace {

constexpr const char* Name = "describe";

bool asksForRecords(const Arguments& arguments) { return arguments.has("record") || arguments.has("json"); }

Result<void> checkTogether(const Arguments& arguments)
{
    if (const char* slip = FileNames::slipIn(arguments))
        return Error { Error::Kind::Format, slip };
    if (arguments.has("pictures") && !arguments.has("json"))
        return Error { Error::Kind::Format, "--pictures goes with --json" };
    if (!asksForRecords(arguments))
        return {};
    for (const char* option : { "format", "fields", "where", "formula-safe", "jobs" }) {
        if (arguments.has(option))
            return Error { Error::Kind::Format,
                std::string("--") + option + " is about facts, and --record and --json show the classic record; "
                    + "--format json shows facts" };
    }
    return {};
}

ExitStatus run(const Arguments& arguments)
{
    if (auto checked = checkTogether(arguments); !checked)
        return misuse(Name, checked.error().text);
    auto wish = factWishFrom(arguments);
    if (!wish)
        return misuse(Name, wish.error().text);
    auto names = FileNames::of(arguments);
    if (!names) {
        complain(Name, names.error().text);
        return ExitStatus::SomeFailed;
    }
    ExitStatus status = asksForRecords(arguments) ? describeRecords(Name, arguments, *names)
                                                  : describeFacts(Name, arguments, *names, std::move(*wish));
    if (names->failure()) {
        complain(Name, names->failure()->text);
        return worse(status, ExitStatus::SomeFailed);
    }
    return status;
}

constexpr std::array Options {
    RecursiveOption,
    FilesFromOption,
    NullOption,
    Option { "format", "FORM", "how facts are written: text (default), json (a list), jsonl (a line each), csv, tsv", 0,
        oneOf(FactFormNames) },
    Option { "fields", "NAMES", "only these facts, in this order: artist,title,length" },
    Option { "where", "CONDITION", "only files for which this holds: 'bitrate<128000 and not hasPicture'" },
    Option {
        "formula-safe", nullptr, "with --format csv: what a spreadsheet would take for a formula gets a ' before" },
    CallsOption,
    Option { "record", nullptr, "show the classic record instead, with the columns of the media database" },
    Option { "json", nullptr, "the classic record as one JSON object a line, in the order of the files" },
    Option { "pictures", nullptr, "with --json: put pictures in as base64, not their length alone" },
};

constexpr std::array Files { aFile() };

} // namespace

const Command describeCommand {
    .name = Name,
    .synopsis = "[OPTION...] FILE...",
    .summary = "Show what is known of audio, video and picture files",
    .details
    = "Facts have the names that --fields and --where take. A condition compares a fact by = != < <= > >= or\n"
      "~ (contains, whatever the case), or names it alone where it has to be there; and, or, not and parentheses\n"
      "join conditions. Lengths may be written as 3:05 or 90s, rates as 128k, sizes as 10MB, dates as 2010-05.\n\n"
      "To describe a folder with all that is in it:\n"
      "  mivo describe -r FOLDER\n"
      "  find FOLDER -type f -print0 | mivo describe --null --files-from -",
    .options = Options,
    .files = Files,
    .minimumFiles = 0,
    .maximumFiles = AnyNumber,
    .run = run,
};

} // namespace mv::cli
