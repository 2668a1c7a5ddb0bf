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

} // namespace mv::cli
