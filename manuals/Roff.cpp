#include "manuals/Roff.h"

#include <algorithm>
#include <cctype>

namespace mv::manuals {

namespace {

constexpr std::size_t MaxLine = 76;

std::string escaped(std::string_view text, const char* dash)
{
    std::string roff;
    for (char one : text) {
        switch (one) {
        case '\\':
            roff += "\\e";
            break;
        case '-':
            roff += dash;
            break;
        case '\'':
            roff += "\\(aq";
            break;
        case '`':
            roff += "\\(ga";
            break;
        case '^':
            roff += "\\(ha";
            break;
        case '~':
            roff += "\\(ti";
            break;
        case '"':
            roff += "\\(dq";
            break;
        default:
            roff += one;
        }
    }
    return roff;
}

bool isNameCharacter(char one) { return std::isalnum(static_cast<unsigned char>(one)) || one == '-'; }

/// The first characters of `word` that make up an option or a value's name.
std::size_t nameLength(std::string_view word)
{
    return static_cast<std::size_t>(std::find_if_not(word.begin(), word.end(), isNameCharacter) - word.begin());
}

/// A word between blanks: signs around what is meant keep their font.
std::string proseWord(std::string_view word, std::span<const std::string> values)
{
    auto start = word.find_first_not_of("(\"[");
    if (start == std::string_view::npos)
        return roffText(word);
    std::string before = roffText(word.substr(0, start));
    word.remove_prefix(start);
    std::size_t length = nameLength(word);
    std::string_view name = word.substr(0, length);
    std::string after = roffText(word.substr(length));
    if (name.size() > 1 && name.starts_with('-'))
        return before + "\\fB" + roffLiteral(name) + "\\fR" + after;
    if (std::find(values.begin(), values.end(), name) != values.end())
        return before + "\\fI" + roffText(name) + "\\fR" + after;
    return before + roffText(word);
}

std::vector<std::string_view> split(std::string_view text, std::string_view separator)
{
    std::vector<std::string_view> parts;
    for (;;) {
        auto end = text.find(separator);
        parts.push_back(text.substr(0, end));
        if (end == std::string_view::npos)
            return parts;
        text.remove_prefix(end + separator.size());
    }
}

bool isValueName(std::string_view word)
{
    return !word.empty() && std::all_of(word.begin(), word.end(), [](char one) { return one >= 'A' && one <= 'Z'; });
}

std::string synopsisWord(std::string_view word)
{
    auto start = std::min(word.find_first_not_of('['), word.size());
    std::string before(word.substr(0, start));
    word.remove_prefix(start);
    std::string_view name = word.substr(0, nameLength(word));
    std::string after = roffText(word.substr(name.size()));
    if (name.starts_with('-'))
        return before + "\\fB" + roffLiteral(name) + "\\fR" + after;
    return before + (isValueName(name) ? "\\fI" + std::string(name) + "\\fR" : roffText(name)) + after;
}

std::string example(std::string_view lines)
{
    std::string roff = ".PP\n.RS 4\n.EX\n";
    for (std::string_view line : split(lines, "\n"))
        roff += roffLiteral(line.substr(std::min(line.find_first_not_of(' '), line.size()))) + "\n";
    return roff + ".EE\n.RE\n";
}

} // namespace

std::string roffText(std::string_view text) { return escaped(text, "-"); }

std::string roffLiteral(std::string_view text) { return escaped(text, "\\-"); }

std::string roffProse(std::string_view text, std::span<const std::string> values)
{
    std::string roff;
    std::size_t lineStart = 0;
    std::string flat(text);
    std::replace(flat.begin(), flat.end(), '\n', ' ');
    for (std::string_view word : split(flat, " ")) {
        if (word.empty())
            continue;
        std::string set = proseWord(word, values);
        bool isFull = roff.size() - lineStart + set.size() > MaxLine;
        if (isFull) {
            roff += "\n";
            lineStart = roff.size();
        } else if (!roff.empty()) {
            roff += " ";
        }
        // A line must not begin with what is a request.
        if (roff.size() == lineStart && (set[0] == '.' || set[0] == '\''))
            roff += "\\&";
        roff += set;
        // A sentence ends with its line, so that the space behind it is right.
        if (word.ends_with('.') && !word.ends_with("...")) {
            roff += "\n";
            lineStart = roff.size();
        }
    }
    if (!roff.ends_with('\n'))
        roff += "\n";
    // A blank before the line's first word would break the line.
    for (auto at = roff.find("\n "); at != std::string::npos; at = roff.find("\n "))
        roff.erase(at + 1, 1);
    return roff;
}

std::string roffSynopsis(std::string_view program, std::string_view synopsis)
{
    std::string roff;
    for (std::string_view form : split(synopsis, " | ")) {
        roff += (roff.empty() ? "" : ".br\n") + std::string("\\fB") + roffLiteral(program) + "\\fR";
        for (std::string_view word : split(form, " "))
            roff += word.empty() ? "" : " " + synopsisWord(word);
        roff += "\n";
    }
    return roff;
}

std::string roffParagraphs(std::string_view text, std::span<const std::string> values)
{
    std::string roff;
    for (std::string_view paragraph : split(text, "\n\n")) {
        auto exampleStart = paragraph.find("\n  ");
        std::string_view prose = paragraph.substr(0, exampleStart);
        if (!prose.empty())
            roff += (roff.empty() ? "" : ".PP\n") + roffProse(prose, values);
        if (exampleStart != std::string_view::npos)
            roff += example(paragraph.substr(exampleStart + 1));
    }
    return roff;
}

} // namespace mv::manuals
