#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"
#include "id3/TagReader.h"

#include <optional>

namespace mv {

/// Where the bodies of the two podcast frames are taken to lie in the file.
struct Id3PodcastFrames {
    TagExtent episode;
    TagExtent feed;
};

/// Nothing when the file has no ID3v2 tag at its front or one of the frames is missing or empty. Of several frames of a
/// kind the last counts.
std::optional<Id3PodcastFrames> findPodcastFrames(const Path& path);

/// Reads the bodies from the file anew and sets the keys that could be read.
void readPodcastFrames(const Path& path, const Id3PodcastFrames& frames, Record& info);

} // namespace mv
