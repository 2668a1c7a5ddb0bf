#pragma once

#include "Base/Core/Result.h"
#include "cli/naming/NamePattern.h"

#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// What names may hold.
enum class NameRules {
    Here, ///< what this system takes
    Portable, ///< what other systems and cards for phones take as well
};

/// A relative path of those pieces, with an ending ("mp3", may be empty) behind its last name. Slashes of pieces that
/// are no values part the folders; whatever values hold, the path leads below the folder that it is taken from:
///
/// - "/" becomes "-"; control characters, and those that turn the direction of text, become "_";
/// - dots at the beginning of a name become "_" where they come from a value, and so do all dots of a name of nothing
///   but dots;
/// - blanks at both ends of a name go;
/// - names that stand for devices elsewhere (CON, NUL, COM1) get a "_" in front;
/// - a name has at most 255 bytes, its ending included, and is cut between two characters;
/// - Portable: "\:*?\"<>|" become "_" each, and so do dots and blanks at the end of a folder's name.
///
/// Fails with a sentence where a name comes out empty, or the whole is longer than paths are.
Result<std::string> relativePathOf(const std::vector<NamePiece>& pieces, std::string_view ending, NameRules rules);

/// The ending of a file's name, without its dot; empty where what is behind the last dot is none: blanks in it, more
/// than 16 bytes, nothing in front.
std::string_view endingOf(std::string_view name);

inline constexpr std::size_t MaxNameBytes = 255;
inline constexpr std::size_t MaxRelativePathBytes = 3072; ///< which leaves some of a path's 4,095 for the folder

} // namespace mv::cli
