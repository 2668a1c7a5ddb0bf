#pragma once

#include "Base/Core/Result.h"

#include <functional>
#include <string>
#include <vector>

namespace mv::cli {

/// The name as a file manager has it that was led there: whole, without dots, but links left as they are.
std::string wholeName(const std::string& name);

/// Told of a folder below that cannot be read.
using FolderFailure = std::function<void(const std::string& name, const Error& error)>;

/// Adds the whole names of all files in the folder, and below it, that a thumbnail can be made of by the ending of
/// their names. Links to files count, links to folders are not followed. Left out is what begins with a dot, and the
/// folder `without` with all that is in it, by whatever name. `folder` may be a file, too, which then counts whatever
/// its name. Fails where that is nothing to look into.
Result<void> mediaFilesBelow(const std::string& folder, const std::string& without, std::vector<std::string>& files,
    const FolderFailure& failed);

} // namespace mv::cli
