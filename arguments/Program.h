#pragma once

#include "arguments/Option.h"

#include <span>
#include <string>
#include <vector>

namespace mv {

struct StatusMeaning {
    int status;
    const char* meaning;
};

/// A program, or a command of one, as its help, its manual and the completion of shells see it.
struct Program {
    std::string name; ///< "mivo describe"
    const char* synopsis; ///< what follows the name; forms of it are parted by " | "
    const char* summary; ///< one line, without a full stop
    const char* details; ///< more; blank lines part paragraphs, and lines that begin with blanks are examples
    std::span<const Option> options;
    std::span<const Values> files; ///< of the first name, the second ...; a single row is for all names
    std::span<const StatusMeaning> statuses;
};

/// "Usage: ...", summary, details, one row an option, and the exit statuses where there are any.
std::string helpText(const Program& program);

/// By their names, as help and manuals show them.
std::vector<const Option*> sortedByName(std::span<const Option> options);

/// One row each, sorted, as the help of programs shows them.
std::string optionRows(std::span<const Option> options);
/// A name in a column of that width, and what it means.
std::string helpRow(const std::string& name, std::size_t columns, const char* meaning);

} // namespace mv
