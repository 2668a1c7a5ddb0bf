#include "cli/Command.h"
#include "cli/InputPath.h"
#include "cli/OrderedWork.h"
#include "cli/OutputFile.h"
#include "cli/ServiceAccess.h"
#include "cli/SheetCard.h"
#include "cli/Terminal.h"

#include "Base/Core/Text.h"

#include <algorithm>
#include <cstdio>
#include <filesystem>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

constexpr const char* Name = "sheet";
constexpr std::size_t FilesInFlight = 4;
// Records and thumbnails of all files are on one page; browsers become slow far below this.
constexpr std::size_t MaxFiles = 20'000;

/// Media files below the folder, sorted by name; links to folders are not followed.
std::vector<std::string> mediaFilesIn(const fs::path& folder)
{
    std::vector<std::string> files;
    std::error_code failure;
    fs::recursive_directory_iterator at(folder, fs::directory_options::skip_permission_denied, failure);
    for (; !failure && at != fs::recursive_directory_iterator(); at.increment(failure)) {
        std::error_code unreadable;
        std::string name = at->path().native();
        if (at->is_regular_file(unreadable) && isValidUtf8(name) && belongsOnSheet(name))
            files.push_back(std::move(name));
    }
    std::sort(files.begin(), files.end());
    return files;
}

Work makeWorker(
    const std::vector<std::string>& files, const fs::path& folder, std::vector<std::optional<SheetCard>>& cards)
{
    auto opened = ServiceBus::open();
    if (!opened)
        return [&files](std::size_t item) {
            return WorkResult { "", files[item] + ": no connection to the session bus" };
        };
    std::shared_ptr<ServiceBus> bus = std::move(opened).value();
    return [&files, &folder, &cards, bus](std::size_t item) {
        std::string name = fs::path(files[item]).lexically_relative(folder).native();
        // Every item has a place of its own.
        cards[item] = sheetCardFor(*bus, files[item], name);
        return WorkResult { "", cards[item] ? "" : files[item] + ": is no file that the service can describe" };
    };
}

std::vector<SheetCard> collectCards(const std::vector<std::string>& files, const fs::path& folder)
{
    std::vector<std::optional<SheetCard>> found(files.size());
    runInOrder(
        files.size(), FilesInFlight, [&] { return makeWorker(files, folder, found); },
        [&](std::size_t item, const WorkResult& result) {
            if (!result.complaint.empty())
                complain(Name, result.complaint);
            if (errorIsTerminal())
                std::fprintf(stderr, "\r%zu of %zu files\033[K", item + 1, files.size());
        });
    if (errorIsTerminal() && !files.empty())
        std::fputs("\r\033[K", stderr);
    std::vector<SheetCard> cards;
    for (auto& card : found) {
        if (card)
            cards.push_back(std::move(*card));
    }
    return cards;
}

int run(const Arguments& arguments)
{
    std::error_code failure;
    fs::path folder = fs::canonical(arguments.files()[0], failure);
    if (failure || !fs::is_directory(folder, failure)) {
        complain(Name, arguments.files()[0], "is no folder");
        return 1;
    }
    auto page = outputPath(arguments.files()[1]);
    if (!page) {
        complain(Name, arguments.files()[1], page.error().text);
        return 1;
    }
    std::vector<std::string> files = mediaFilesIn(folder);
    if (files.size() > MaxFiles) {
        complain(Name, formatText("there are %zu files, and a page takes %zu", files.size(), MaxFiles));
        return 1;
    }
    auto service = openService(Name, arguments);
    if (!service)
        return 1;
    std::string title = arguments.value("title", folder.filename().native());
    std::string html = sheetPage(title, collectCards(files, folder));
    if (auto written = writeFile(*page, bytesOf(html)); !written) {
        complain(Name, arguments.files()[1], written.error().text);
        return 1;
    }
    return 0;
}

constexpr std::array kOptions { Option { "title", "TEXT", "the page's title (default: the folder's name)" } };

} // namespace

const Command sheetCommand {
    .name = Name,
    .synopsis = "[--title TEXT] FOLDER OUT.html",
    .summary = "Make one page with thumbnails and facts of a folder's media files",
    .details = "The folders below are searched too. The page needs no other file and opens in any browser. Files that\n"
               "cannot be described are named on standard error and left out.",
    .options = kOptions,
    .minimumFiles = 2,
    .maximumFiles = 2,
    .run = run,
};

} // namespace mv::cli
