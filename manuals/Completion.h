#pragma once

#include "manuals/ManualPage.h"

#include <string>

namespace mv::manuals {

// What each shell reads to complete the words behind a program's name: its commands and options, words of a choice,
// folders, and files by the ends of their names. A program without commands has none in its Tool, and its options in
// `program`.

std::string bashCompletion(const Tool& tool);
std::string zshCompletion(const Tool& tool);
std::string fishCompletion(const Tool& tool);

/// The command's own options and those of all commands.
std::vector<Option> allOptions(const Tool& tool, const Program& command);
/// What follows the program's name: "describe" of "mivo describe".
std::string commandName(const Program& command);
/// The words of a choice, or others, with something between them.
std::string joined(std::span<const char* const> words, const char* between);
/// "mp3 m4a" as "mp3|m4a".
std::string endingsWith(const char* endings, const std::string& between);

} // namespace mv::manuals
