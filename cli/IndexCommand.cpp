#include "Base/Core/Text.h"
#include "cli/Command.h"
#include "cli/FactBatches.h"
#include "cli/IndexRun.h"
#include "cli/Interruption.h"
#include "cli/MediaFolder.h"
#include "cli/Output.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"

#include <filesystem>
#include <thread>

namespace mv::cli {

namespace {

constexpr const char* Name = "index";

ExitStatus failed(const std::string& file, const std::string& sentence)
{
    complain(Name, file, sentence);
    return ExitStatus::SomeFailed;
}

/// An update of another folder's would remove what is in it. By the order of the lines the first and the last tell.
Result<void> checkIsOf(const IndexFile& file, const std::string& folder)
{
    IndexReader index(file.descriptor());
    if (!index.entry())
        return {};
    auto last = file.lastEntry();
    for (const IndexEntry* entry : { index.entry(), last ? &*last : index.entry() }) {
        if (!isWithin(entry->path, folder))
            return Error { Error::Kind::State, "is the index of another folder, with " + entry->path + " in it" };
    }
    return {};
}

/// Behind what is no index nothing is added; it is read again.
Result<std::size_t> dropDamage(const IndexFile& file)
{
    IndexReader index(file.descriptor());
    while (index.entry())
        index.next();
    if (index.damagedLine() > 0 && ftruncate(file.descriptor(), static_cast<off_t>(index.place())) != 0)
        return indexFailure(errno);
    return std::size_t { index.damagedLine() };
}

std::string summary(const IndexCounts& counts, bool isUpdate)
{
    std::string text = formatText("%zu added", counts.added);
    if (isUpdate)
        text += formatText(", %zu changed, %zu removed", counts.changed, counts.removed);
    if (isUpdate || counts.unchanged > 0)
        text += formatText(isUpdate ? ", %zu unchanged" : ", %zu there already", counts.unchanged);
    if (counts.notMedia > 0)
        text += formatText("; %zu no media", counts.notMedia);
    if (counts.failed > 0)
        text += formatText("; %zu failed", counts.failed);
    if (counts.missed > 0)
        text += formatText("; %zu came since, which --update adds", counts.missed);
    return text + "\n";
}

void tellOfDamage(const std::string& name, std::size_t line)
{
    if (line > 0)
        complain(Name, name, formatText("line %zu was damaged; it and what follows was read again", line));
}

/// Counts the files while the first ones are read.
std::jthread countFiles(const std::string& folder, FileProgress& progress)
{
    if (!errorTakesDrawing())
        return {};
    return std::jthread([folder, &progress](const std::stop_token& stop) {
        FolderWalk walk(folder);
        std::size_t files = 0;
        for (auto found = walk.next(); found && !stop.stop_requested(); found = walk.next())
            files += found->failure ? 0 : 1;
        progress.setTotal(stop.stop_requested() ? 0 : files);
    });
}

ExitStatus makeIndex(IndexFile& file, const std::string& name, const IndexWish& wish)
{
    Interruption interruption;
    FileProgress progress(errorTakesDrawing(), terminalWidth());
    std::jthread counting = countFiles(wish.folder, progress);
    IndexOutcome outcome = runIndex(Name, file, wish, progress, [&] { return interruption.asked(); });
    tellOfDamage(name, outcome.damagedLine);
    print(summary(outcome.counts, wish.isUpdate));
    if (!interruption.asked())
        return outcome.status;
    complain(Name, "interrupted; the same command goes on from here");
    return ExitStatus::Interrupted;
}

ExitStatus run(const Arguments& arguments)
{
    const std::string& folderName = arguments.files()[0];
    const std::string& name = arguments.files()[1];
    if (name == "-")
        return misuse(Name, "an index is a file; \"mivo describe -r --format jsonl\" writes to standard output");
    IndexWish wish { wholeName(folderName), arguments.has("update") };
    wish.jobs = static_cast<std::size_t>(arguments.number("jobs", static_cast<int>(usualJobs())));
    std::error_code failure;
    if (!std::filesystem::is_directory(wish.folder, failure))
        return failed(folderName, "is no folder");
    auto file = IndexFile::open(name);
    if (!file)
        return failed(name, file.error().text);
    if (auto checked = checkIsOf(*file, wish.folder); !checked)
        return failed(name, checked.error().text);
    if (!wish.isUpdate) {
        auto dropped = dropDamage(*file);
        if (!dropped)
            return failed(name, dropped.error().text);
        tellOfDamage(name, *dropped);
    }
    auto service = openService(Name, arguments);
    return service ? makeIndex(*file, name, wish) : ExitStatus::NoService;
}

constexpr std::array Options {
    Option { "update", nullptr, "bring an index up to date: read only what changed, and tell what did" },
    CallsOption,
};

constexpr std::array Files { aFolder(), aFile("jsonl") };

} // namespace

const Command indexCommand {
    .name = Name,
    .synopsis = "[OPTION...] FOLDER OUT.jsonl",
    .summary = "Keep an index of a folder: what is known of each file, one line each",
    .details
    = "The folders below are taken too, without links to folders and what begins with a dot. Each file has a line\n"
      "of JSON in OUT, as soon as it is known, in the order of the files' names; so has one that could not be\n"
      "read. A run that was killed is gone on with by the same command.\n\n"
      "With --update only files are read whose size, time or inode is another one; the old index stays whole\n"
      "until the new one is.",
    .options = Options,
    .files = Files,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
