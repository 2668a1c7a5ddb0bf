#include "cli/Command.h"
#include "cli/Destination.h"
#include "cli/FileTexts.h"
#include "cli/JobOptions.h"
#include "cli/OrderedWork.h"
#include "cli/Output.h"
#include "cli/ProgressCount.h"
#include "cli/ServiceAccess.h"
#include "cli/SheetCard.h"
#include "cli/Terminal.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <filesystem>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* Name = "sheet";
constexpr std::size_t FilesInFlight = 4;
// Records and thumbnails of all files are on one page; browsers become slow far below this.
constexpr std::size_t MaxFiles = 20'000;

ExitStatus failed(const std::string& file, const std::string& sentence)
{
    complain(Name, file, sentence);
    return ExitStatus::SomeFailed;
}

/// Media files below the folder, sorted by name; links to folders are not followed. Names that are not UTF-8 are
/// complained about.
std::vector<std::string> mediaFilesIn(const fs::path& folder, ExitStatus& status)
{
    std::vector<std::string> files;
    std::error_code failure;
    fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, failure);
    for (; !failure && at != fs::recursive_directory_iterator(); at.increment(failure)) {
        std::error_code unreadable;
        std::string name = at->path().native();
        if (!at->is_regular_file(unreadable) || !belongsOnSheet(name))
            continue;
        if (isValidUtf8(name))
            files.push_back(std::move(name));
        else
            status = failed(name, "its name is not UTF-8");
    }
    std::sort(files.begin(), files.end());
    return files;
}

using Cards = std::vector<std::optional<SheetCard>>;

struct Sheet {
    fs::path folder;
    bool asStored = false;
};

OrderedWork::Work makeWorker(const Sheet& sheet, Cards& cards)
{
    auto opened = ServiceBus::open();
    if (!opened)
        return [error = noConnection(opened.error())](
                   std::size_t, const std::string& file) { return failedFile(file, error, false); };
    std::shared_ptr<ServiceBus> bus = std::move(opened).value();
    return [&sheet, &cards, bus](std::size_t index, const std::string& file) {
        std::string name = fs::path(file).lexically_relative(sheet.folder).native();
        auto card = sheetCardFor(*bus, file, name, sheet.asStored);
        if (!card)
            return failedFile(file, card.error(), false);
        // Every file has a place of its own.
        cards[index] = std::move(*card);
        return WorkResult {};
    };
}

/// The cards of the files that can be described, in their order.
ExitStatus collectCards(const std::vector<std::string>& files, const Sheet& sheet, std::vector<SheetCard>& cards)
{
    Cards found(files.size());
    std::size_t asked = 0;
    ProgressCount progress(files.size());
    OrderedWork work;
    work.next = [&] { return asked < files.size() ? std::optional(files[asked++]) : std::nullopt; };
    work.workers = FilesInFlight;
    work.makeWorker = [&] { return makeWorker(sheet, found); };
    work.emit = [&](std::size_t index, const WorkResult& result) {
        if (!result.complaint.empty()) {
            progress.hide();
            complain(Name, result.complaint);
        }
        progress.show(index + 1);
    };
    ExitStatus status = work.run();
    progress.hide();
    for (auto& card : found) {
        if (card)
            cards.push_back(std::move(*card));
    }
    return status;
}

ExitStatus run(const Arguments& arguments)
{
    const std::string& folderName = arguments.files()[0];
    const std::string& pageName = arguments.files()[1];
    std::error_code failure;
    fs::path folder = fs::canonical(folderName, failure);
    if (failure || !fs::is_directory(folder, failure))
        return failed(folderName, "is no folder");
    auto page = Destination::find(pageName);
    if (!page)
        return failed(pageName, page.error().text);
    ExitStatus status = ExitStatus::Done;
    std::vector<std::string> files = mediaFilesIn(folder, status);
    if (files.size() > MaxFiles)
        return failed(folderName, formatText("there are %zu files, and a page takes %zu", files.size(), MaxFiles));
    auto service = openService(Name, arguments);
    if (!service)
        return ExitStatus::NoService;
    std::vector<SheetCard> cards;
    status = worse(status, collectCards(files, { folder, arguments.has("as-stored") }, cards));
    if (cards.empty() && !files.empty())
        return worse(status, failed(pageName, "is not written, as no file could be described"));
    std::string html = sheetPage(arguments.value("title", folder.filename().native()), cards);
    if (auto written = page->write(bytesOf(html)); !written)
        return worse(status, failed(pageName, written.error().text));
    return status;
}

constexpr std::array Options {
    Option { "title", "TEXT", "the page's title (default: the folder's name)" },
    AsStoredOption,
};

constexpr std::array Files { aFolder(), aFile("html") };

} // namespace

const Command sheetCommand {
    .name = Name,
    .synopsis = "[OPTION...] FOLDER OUT.html",
    .summary = "Make one page with thumbnails and facts of a folder's media files",
    .details = "The folders below are searched too. The page needs no other file and opens in any browser. Files that\n"
               "cannot be described are named on standard error and left out. A page that is there is replaced, but\n"
               "not where no file could be described. A folder without media files makes a page of none.",
    .options = Options,
    .files = Files,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
