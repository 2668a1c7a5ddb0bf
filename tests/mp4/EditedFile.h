#pragma once

#include "mp4/mp4.h"
#include "tests/support/Mp4Edit.h"
#include "tests/support/Mp4Maker.h"

#include <string_view>

// Edits of made files, in memory.

namespace mv::test {

/// 1, 2, 3 and so on, so that a byte at a wrong place shows.
Bytes countedMedia(std::size_t size);
/// Three items, one of them unknown, and counted media.
Mp4Spec namedSpec();

/// Where an edit left the movie box.
enum class Layout {
    Unchanged, ///< nothing was planned
    InPlace, ///< where it was, and as large as it was
    FreeSpace, ///< over the free space around its old place too
    AtTheEnd, ///< behind everything else
    Shifted, ///< what followed it has moved
};

struct Edited {
    Layout layout = Layout::Unchanged;
    Bytes bytes;
};
/// Plans, performs and checks.
Edited edited(const Bytes& source, MetadataEdit edit);
MetadataEdit renaming(std::string_view name);
/// Gives the file a name; checks that the chunk's bytes are the same and that nothing else was lost.
Edited rename(const Bytes& source, std::string_view name);
/// The plan for a name of 500 letters.
Result<std::optional<FileContent>> planLongName(const Bytes& source);

/// The first row of a track's table.
std::uint64_t chunkOffset(const Bytes& file, std::size_t track = 0);

} // namespace mv::test
