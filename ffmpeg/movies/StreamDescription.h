#pragma once

#include "Base/Media/Orientation.h"
#include "ffmpeg/MediaInput.h"
#include "movies/MovieDescription.h"

namespace mv {

/// What FFmpeg tells of a file, its streams being known. Reads the packets of an audio file whose header tells no
/// length.
MovieDescription describeStreams(MediaInput& input);

/// Microseconds, as the container tells or else its longest stream does; 0 where neither does. (FFmpeg's versions take
/// a header's word for the whole at different times.)
std::int64_t lengthOf(const AVFormatContext& context);

/// The video stream whose pictures are the movie's: the first enabled one, else the first; null without one.
AVStream* pictureStream(AVFormatContext& context);

/// Whether it is a cover that the file carries, and not pictures that are shown in time.
bool isCoverArt(const AVStream& stream);

/// How the pictures of a stream are turned to be shown.
Orientation orientationOf(const AVStream& stream);

} // namespace mv
