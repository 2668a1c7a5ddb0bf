#pragma once

#include "Base/Core/Result.h"

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// The regular files of a folder and of the folders below it, one after the other, in the order of precedes(). Links to
/// files count, links to folders are not followed, and what begins with a dot is left out. Takes as much memory as the
/// names of one folder of each level.
class FolderWalk {
public:
    /// A link to a folder is followed here. What is no folder cannot be read, which next() says.
    explicit FolderWalk(std::string folder);

    struct Found {
        std::string path; ///< the folder as it was given and the names below it; any bytes
        std::optional<Error> failure; ///< why `path` is a folder that cannot be read; nothing for a file
    };
    /// Nothing at the end.
    std::optional<Found> next();

private:
    /// A folder and how far it has been walked. Names are kept end to end: there may be a million.
    struct Level {
        struct Name {
            std::uint32_t place; ///< in `names`, where a zero byte ends it
            unsigned char type; ///< as readdir(3) has it
        };
        std::string path;
        std::string names;
        std::vector<Name> sorted;
        std::size_t at = 0;
    };

    std::optional<Error> enter(std::string path);

    std::vector<Level> m_levels;
    std::optional<Found> m_rootFailure;
};

/// Whether the walk comes to one path before it comes to the other: names compare by their bytes, each folder's before
/// those of the folders in it.
bool precedes(std::string_view path, std::string_view other);

/// Whether a path is that folder or something in it. Both are whole, without dots.
bool isWithin(std::string_view path, std::string_view folder);

} // namespace mv::cli
