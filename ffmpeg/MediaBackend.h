#pragma once

#include "audio/AudioBackend.h"
#include "movies/MovieBackend.h"

namespace mv {

/// Both backends on FFmpeg's libraries. These take 20 ms and 26 MB to load, so the service keeps everything that
/// calls them in a module of its own and loads it at the first use.
///
/// installedMovieBackend() and installedAudioBackend() have two definitions, of which a program links one:
/// mv_ffmpeg_static has FFmpeg linked in (tests, fuzzers, benchmarks), mv_ffmpeg_module loads mivo-ffmpeg.so from
/// ../lib or ../lib/mivo beside the executable. Where the module cannot be loaded, that is logged once and the
/// backends answer every request with an error. Any thread may ask; the backends live as long as the process.
class MediaBackend {
public:
    virtual ~MediaBackend() = default;
    virtual MovieBackend& movies() = 0;
    virtual AudioBackend& audio() = 0;
};

MovieBackend& ffmpegMovieBackend();
AudioBackend& ffmpegAudioBackend();

/// Both together; prepares FFmpeg (limits, log) at the first call.
MediaBackend& ffmpegMediaBackend();

/// The module's one exported symbol: a `MediaBackend* ()` that returns ffmpegMediaBackend().
inline constexpr const char* MediaModuleEntry = "mivoMediaBackend";

} // namespace mv
