#pragma once

#include "arguments/Arguments.h"
#include "arguments/Program.h"
#include "cli/ExitStatus.h"

#include <cstddef>
#include <cstdint>
#include <span>

namespace mv::cli {

/// A subcommand: what it is called, what its help says, what it does.
struct Command {
    const char* name;
    const char* synopsis; ///< what follows the name
    const char* summary; ///< one line
    const char* details; ///< more for the command's own help; may be empty
    std::span<const Option> options; ///< its own; every command has the common ones besides
    std::span<const Values> files; ///< what its names are, as in Program
    std::size_t minimumFiles;
    std::size_t maximumFiles;
    /// Has told the reason on standard error when it is not Done.
    ExitStatus (*run)(const Arguments&);
};

extern const Command describeCommand;
extern const Command indexCommand;
extern const Command statusCommand;
extern const Command quitCommand;
extern const Command exifCommand;
extern const Command thumbnailCommand;
extern const Command sheetCommand;
extern const Command dumpCommand;
extern const Command tagCommand;
extern const Command copyTagsCommand;
extern const Command renameCommand;
extern const Command podcastCommand;
extern const Command encodeCommand;
extern const Command convertCommand;
extern const Command exportCommand;

inline constexpr std::size_t AnyNumber = SIZE_MAX;

/// All of them, in the order in which the help names them.
std::span<const Command* const> allCommands();

/// Runs the tool with the words behind its own name.
ExitStatus runTool(const std::vector<std::string>& words);

} // namespace mv::cli
