#pragma once

#include "arguments/Program.h"

#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace mv::manuals {

/// What all pages of a release have in common.
struct Edition {
    std::string version;
    std::string date; ///< YYYY-MM-DD
};

/// A program whose commands have pages of their own.
struct Tool {
    Program program; ///< without options; its details are the page's first paragraphs
    std::span<const Option> commonOptions; ///< that every command has besides its own
    std::vector<Program> commands;
};

/// A page of section 1, in the language of man(7). `extra` is in that language already: what stands before its first
/// section goes behind the description, the sections go behind the options.
std::string manualPage(const Program& program, std::span<const Option> commonOptions, std::string_view extra,
    std::span<const std::string> seeAlso, const Edition& edition);

/// The page of a tool, which lists its commands.
std::string manualPage(
    const Tool& tool, std::string_view extra, std::span<const std::string> seeAlso, const Edition& edition);

/// "mivo describe" has the page "mivo-describe".
std::string pageName(const Program& program);

} // namespace mv::manuals
