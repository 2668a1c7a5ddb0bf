#pragma once

#include "Base/Core/Path.h"
#include "Base/Core/Result.h"
#include "cli/SongTags.h"

#include <cstdint>

namespace mv::cli {

/// Numbers with their totals: "3/12". The service's records have no place for the totals.
struct TagTotals {
    PlaceInSet track;
    PlaceInSet disc;
};

/// As the file has them.
TagTotals readTotals(const Path& path);

/// Adds the totals that are not 0 to a file whose numbers the service has just written. The file is replaced whole or
/// not at all. Of an MP3 file only the track can have one.
Result<void> writeTotals(const Path& path, std::int32_t mediaType, const TagTotals& totals);

} // namespace mv::cli
