#pragma once

#include "Base/Media/Record.h"
#include "system/ByteSource.h"

#include <optional>

namespace mv {

/// The texts of an MP3 file's two podcast frames, each under its key unless it cannot be read. Nothing when the file
/// has no ID3v2 tag at its front or one of the frames is missing or empty. Of several frames of a kind the last counts.
std::optional<Record> podcastFramesOf(const ByteSource& file);

} // namespace mv
