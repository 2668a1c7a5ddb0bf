#pragma once

#include "cli/Command.h"

#include <string>

namespace mv::cli {

/// The options that every command has besides its own.
std::span<const Option> commonOptions();

/// Of the tool.
std::string helpText();
/// Of a command.
std::string helpText(const Command& command);
/// The exit statuses of every command.
std::span<const StatusMeaning> exitStatuses();
/// A command as a program with the command's own options; those of all commands are apart.
Program programOf(const Command& command);

} // namespace mv::cli
