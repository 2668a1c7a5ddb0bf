#include "manuals/ManualPage.h"

#include "manuals/Roff.h"

#include <algorithm>

namespace mv::manuals {

namespace {

constexpr std::string_view Capitals = "ABCDEFGHIJKLMNOPQRSTUVWXYZ";

/// What the program's texts call its values: the capitals of its synopsis, and the values of options.
std::vector<std::string> valueNames(const Program& program)
{
    std::vector<std::string> names;
    std::string_view rest = program.synopsis;
    for (auto at = rest.find_first_of(Capitals); at != std::string_view::npos; at = rest.find_first_of(Capitals)) {
        rest.remove_prefix(at);
        names.emplace_back(rest.substr(0, rest.find_first_not_of(Capitals)));
        rest.remove_prefix(names.back().size());
    }
    for (const Option& option : program.options) {
        if (option.value)
            names.emplace_back(option.value);
    }
    return names;
}

std::string header(const Program& program, const Edition& edition)
{
    std::string title = roffLiteral(pageName(program));
    std::transform(title.begin(), title.end(), title.begin(), [](unsigned char one) { return std::toupper(one); });
    std::string summary = program.summary;
    // As the manual's index has it: no sentence, and the name once.
    if (summary.starts_with(program.name + " "))
        summary.erase(0, program.name.size() + 1);
    summary[0] = static_cast<char>(std::tolower(static_cast<unsigned char>(summary[0])));
    return ".\\\" Made from the program's tables and manuals/extra.\n.TH " + title + " 1 " + edition.date + " \"mivo "
        + edition.version + "\" \"Mivo media tools\"\n.SH NAME\n" + roffLiteral(pageName(program)) + " \\- "
        + roffText(summary) + "\n";
}

std::string synopsis(const Program& program) { return ".SH SYNOPSIS\n" + roffSynopsis(program.name, program.synopsis); }

std::string optionTag(const Option& option)
{
    std::string letter = option.letter ? std::string("\\fB\\-") + option.letter + "\\fR, " : "";
    std::string value = option.value ? std::string(" \\fI") + roffText(option.value) + "\\fR" : "";
    return ".TP\n" + letter + "\\fB\\-\\-" + roffLiteral(option.name) + "\\fR" + value + "\n";
}

/// The table's row as a sentence. A word that is typed keeps its letters.
std::string sentence(std::string_view text, std::span<const char* const> typed = {})
{
    std::string whole(text);
    bool isTyped = std::any_of(typed.begin(), typed.end(), [&](const char* word) { return text.starts_with(word); });
    if (!isTyped)
        whole[0] = static_cast<char>(std::toupper(static_cast<unsigned char>(whole[0])));
    return whole + (whole.ends_with('.') ? "" : ".");
}

std::string options(std::span<const Option> own, std::span<const Option> common, std::span<const std::string> values)
{
    std::string roff = ".SH OPTIONS\n";
    for (std::span<const Option> table : { own, common }) {
        for (const Option* option : sortedByName(table))
            roff += optionTag(*option) + roffProse(sentence(option->help, option->values.words), values);
    }
    return roff;
}

std::string exitStatus(std::span<const StatusMeaning> statuses)
{
    if (statuses.empty())
        return "";
    std::string roff = ".SH EXIT STATUS\n";
    for (const StatusMeaning& one : statuses)
        roff += ".TP\n\\fB" + std::to_string(one.status) + "\\fR\n" + roffProse(sentence(one.meaning), {});
    return roff;
}

std::string reference(std::string_view page, std::string_view after)
{
    return ".BR " + roffLiteral(page) + " (1)" + std::string(after) + "\n";
}

std::string seeAlsoSection(std::span<const std::string> pages)
{
    std::string roff = ".SH SEE ALSO\n";
    for (std::size_t i = 0; i < pages.size(); ++i)
        roff += reference(pages[i], i + 1 < pages.size() ? "," : "");
    return roff;
}

struct Extra {
    std::string_view description;
    std::string_view sections;
};

Extra parted(std::string_view text)
{
    if (text.starts_with(".SH"))
        return { {}, text };
    auto end = text.find("\n.SH");
    if (end == std::string_view::npos)
        return { text, {} };
    return { text.substr(0, end + 1), text.substr(end + 1) };
}

} // namespace

std::string pageName(const Program& program)
{
    std::string name = program.name;
    std::replace(name.begin(), name.end(), ' ', '-');
    return name;
}

std::string manualPage(const Program& program, std::span<const Option> commonOptions, std::string_view extra,
    std::span<const std::string> seeAlso, const Edition& edition)
{
    auto [description, sections] = parted(extra);
    const auto values = valueNames(program);
    std::string details = std::string(program.summary) + ".\n\n" + program.details;
    return header(program, edition) + synopsis(program) + ".SH DESCRIPTION\n" + roffParagraphs(details, values)
        + std::string(description) + options(program.options, commonOptions, values) + std::string(sections)
        + exitStatus(program.statuses) + seeAlsoSection(seeAlso);
}

std::string manualPage(
    const Tool& tool, std::string_view extra, std::span<const std::string> seeAlso, const Edition& edition)
{
    auto [description, sections] = parted(extra);
    std::string roff = header(tool.program, edition) + synopsis(tool.program) + ".SH DESCRIPTION\n"
        + roffParagraphs(tool.program.details, {}) + std::string(description) + ".SH COMMANDS\n";
    for (const Program& command : tool.commands)
        roff += ".TP\n" + reference(pageName(command), "") + roffProse(sentence(command.summary), {});
    return roff + options({}, tool.commonOptions, {}) + std::string(sections) + exitStatus(tool.program.statuses)
        + seeAlsoSection(seeAlso);
}

} // namespace mv::manuals
