#pragma once

#include "movies/MovieBackend.h"

namespace mv {

/// Copies the packets of all video and audio tracks into an MPEG-4 file; see MovieBackend::passThrough. Hint tracks
/// are made when every stream has an RTP payload format that can be written, and for none of them otherwise.
Result<void> passMovieThrough(SharedSource source, OutputFile& target, const MovieExportSettings& settings,
    const MovieBackend::Progress& progress);

} // namespace mv
