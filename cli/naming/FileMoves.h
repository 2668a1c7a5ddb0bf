#pragma once

#include "Base/Core/Result.h"

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace mv::cli {

/// A file that is to get another name. Paths are whole and say the same where they mean the same.
struct FileMove {
    std::string from;
    std::string to;
};

/// What is to be done with files whose new names may be old names of others: nothing is ever in the way of another.
struct MoveOrder {
    /// Moves by their place in the list, in an order in which each new name is free when its turn comes. More than one
    /// in a step go in a circle: each has the next one's old name, the last one the first one's.
    std::vector<std::vector<std::size_t>> steps;
    /// For each move why it cannot be; empty where it can, or where there is nothing to do.
    std::vector<std::string> refusals;
};

/// Whether there is a file now that has the new name of a move, and is another one.
using IsInTheWay = std::function<bool(std::size_t move)>;
/// Two that would get one name are both refused, and so is what would get the name of a file that stays.
MoveOrder orderOf(const std::vector<FileMove>& moves, const IsInTheWay& isInTheWay);

} // namespace mv::cli
