#pragma once

#include "system/InputFile.h"

#include <optional>

namespace mv {

/// The place of the first frame of an MPEG audio stream that does not begin where a file of its kind should: there is
/// something else in front. Nothing where no long chain of frames begins in the first MiB. For files that are nothing
/// known: MPEG audio would be found in many others too.
std::optional<std::uint64_t> findHiddenMpegStream(const ByteSource& file);

} // namespace mv
