#pragma once

#include "Base/Core/Date.h"
#include "movies/MovieTypes.h"

#include <optional>
#include <string>
#include <vector>

namespace mv {

/// What a container's header tells of a movie.
struct MovieDescription {
    MovieTime duration; ///< scale 0 when it is not known
    MovieTime posterTime; ///< scale 0 when the movie names none, which then is its start
    bool hasVideo = false; ///< a track with pictures that is not cover art
    bool hasAudio = false;
    std::optional<std::string> fullName; ///< the movie's own title; never empty
    std::optional<Date> creationTime;
    std::optional<Date> modificationTime;
    /// As a viewer sees it at normal size: pixel aspect and rotation applied; 0 x 0 without video.
    PixelSize naturalSize;
    std::vector<MovieTrack> tracks; ///< cover art is not among them
};

} // namespace mv
