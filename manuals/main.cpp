// Writes the manual pages and completions of this release into a folder, one folder for each package below it:
// mivo-manuals OUT EXTRA VERSION DATE
#include "cli/Help.h"
#include "manuals/Completion.h"
#include "service/host/CommandLine.h"
#include "thumbnailer/Thumbnailer.h"

#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>

namespace mv::manuals {

namespace {

namespace fs = std::filesystem;

struct Place {
    fs::path out;
    fs::path extra;
    Edition edition;
};

void write(const fs::path& path, const std::string& text)
{
    fs::create_directories(path.parent_path());
    std::ofstream file(path, std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    file << text << std::flush;
}

/// What a page says besides the tables; every page has some.
std::string extraFor(const Place& place, const Program& program)
{
    std::ifstream file(place.extra / (pageName(program) + ".man"), std::ios::binary);
    file.exceptions(std::ios::failbit | std::ios::badbit);
    return { std::istreambuf_iterator<char>(file), {} };
}

void writePage(const Place& place, const char* package, const Program& program, const std::string& page)
{
    write(place.out / package / "man1" / (pageName(program) + ".1"), page);
}

void writeCompletions(const Place& place, const char* package, const Tool& tool)
{
    const std::string& name = tool.program.name;
    write(place.out / package / "bash" / name, bashCompletion(tool));
    write(place.out / package / "zsh" / ("_" + name), zshCompletion(tool));
    write(place.out / package / "fish" / (name + ".fish"), fishCompletion(tool));
}

constexpr const char* ToolDetails
    = "Results go to standard output, progress and reasons to standard error. Every failed file is named with its "
      "reason, and the others are still done. Texts from files are shown with control characters escaped, so that a "
      "tag "
      "cannot command the terminal.";

Tool theTool()
{
    Tool tool {
        .program = {
            .name = "mivo",
            .synopsis = "COMMAND [OPTION...] [FILE...] | help [COMMAND]",
            .summary = "Describe, tag and convert media files",
            .details = ToolDetails,
            .options = {},
            .files = {},
            .statuses = cli::exitStatuses(),
        },
        .commonOptions = cli::commonOptions(),
        .commands = {},
    };
    for (const cli::Command* command : cli::allCommands())
        tool.commands.push_back(cli::programOf(*command));
    for (Program& command : tool.commands)
        command.statuses = cli::exitStatuses();
    return tool;
}

void writeTool(const Place& place)
{
    const Tool tool = theTool();
    std::vector<std::string> pages;
    for (const Program& command : tool.commands) {
        pages.push_back(pageName(command));
        const std::vector<std::string> seeAlso { "mivo", "mivo-mediad" };
        writePage(place, "mivo", command,
            manualPage(command, tool.commonOptions, extraFor(place, command), seeAlso, place.edition));
    }
    pages.emplace_back("mivo-mediad");
    writePage(place, "mivo", tool.program, manualPage(tool, extraFor(place, tool.program), pages, place.edition));
    writeCompletions(place, "mivo", tool);
}

/// A program without commands.
void writeProgram(
    const Place& place, const char* package, const Program& program, const std::vector<std::string>& seeAlso)
{
    writePage(place, package, program, manualPage(program, {}, extraFor(place, program), seeAlso, place.edition));
    writeCompletions(place, package, { program, {}, {} });
}

} // namespace

void writeAll(const Place& place)
{
    writeTool(place);
    writeProgram(place, "mediad", serviceProgram(), { "mivo", "busctl" });
    writeProgram(place, "thumbnailer", thumbnailerProgram(), { "mivo", "mivo-thumbnail" });
}

} // namespace mv::manuals

int main(int count, char** words)
{
    using namespace mv::manuals;
    if (count != 5) {
        std::fputs("usage: mivo-manuals OUT EXTRA VERSION DATE\n", stderr);
        return 2;
    }
    try {
        writeAll({ words[1], words[2], { words[3], words[4] } });
    } catch (const std::exception& failure) {
        std::fprintf(stderr, "mivo-manuals: %s\n", failure.what());
        return 1;
    }
    return 0;
}
