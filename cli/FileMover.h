#pragma once

#include "Base/Core/Result.h"

#include <cstddef>
#include <string>
#include <vector>

namespace mv::cli {

/// A file that is to lie elsewhere below a folder.
struct PlannedMove {
    std::string from; ///< whole path
    std::string folder; ///< whole path, without links
    std::string below; ///< the new path below the folder
    std::string to() const { return folder + "/" + below; }
};

/// True when the new name is there and is not another name of the file itself, as on file systems to which "a" and "A"
/// are the same.
bool isInTheWay(const PlannedMove& move);

/// Gives files their new names, one name after the other, each whole and never over another file. Folders are made
/// below the move's folder where they are missing; a link among them is refused, as it may lead out of it. Folders that
/// were made for a move that fails are gone again.
///
/// A name on another file system is refused: what takes a name there is another file.
Result<void> moveFile(const PlannedMove& move);
/// What moveFile would say of the folders on the way, without making any.
Result<void> checkFolders(const PlannedMove& move);

/// Files in a circle, each with the next one's old name to be: changes names in pairs, so that every file has a name at
/// every moment. Fails where the file system cannot do that, or at the first pair that fails.
Result<void> moveInCircle(const std::vector<const PlannedMove*>& circle);

} // namespace mv::cli
