#pragma once

#include "Base/Core/Result.h"
#include "movies/MediaStreams.h"
#include "system/ByteSource.h"

#include <chrono>

namespace mv {

/// MovieBackend::describeStreams.
Result<MediaStreams> describeMediaStreams(SharedSource file, std::chrono::milliseconds deadline, bool withCovers);

} // namespace mv
