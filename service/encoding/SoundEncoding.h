#pragma once

#include "service/include/EncodingWish.h"
#include "service/include/MVMP4ExporterBase.h"
#include "service/include/MediaErrors.h"
#include "system/OutputPlace.h"

#include <optional>

namespace mv {

/// Encodes the sound of a file of any format, with its tags. `place` has a file when everything was made, and else what
/// it had before. `progress` hears whole percents, and may end the job. Nothing when it went well. Raises
/// LibraryNotLoaded.
std::optional<MediaErrorKind> encodeSound(
    const OpenedFile& source, const EncodingWish& wish, const SharedPlace& place, MVMP4ExporterDelegate& progress);

} // namespace mv
