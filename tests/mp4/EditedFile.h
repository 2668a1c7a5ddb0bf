#pragma once

#include "mp4/EditPlan.h"
#include "mp4/mp4.h"
#include "tests/support/Mp4Maker.h"

#include <string_view>

// Edits of made files, in memory.

namespace mv::test {

/// 1, 2, 3 and so on, so that a byte at a wrong place shows.
Bytes countedMedia(std::size_t size);
/// Three items, one of them unknown, and counted media.
Mp4Spec namedSpec();

/// The planned content.
Bytes perform(const FileContent& content, const Bytes& source);

struct Edited {
    EditPlan::Layout layout;
    Bytes bytes;
};
/// Gives the file a name; checks that the chunk's bytes are the same and that nothing else was lost.
Edited rename(const Bytes& source, std::string_view name);
/// The plan for a name of 500 letters.
Result<EditPlan> planLongName(const Bytes& source);

MP4ItmfItemList withName(const MP4ItmfItemList& items, std::string_view name);
/// The first row of a track's table.
std::uint64_t chunkOffset(const Bytes& file, std::size_t track = 0);

} // namespace mv::test
