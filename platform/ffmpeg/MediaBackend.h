#pragma once

namespace mv {

class AudioBackend;
class MovieBackend;

/// The way to whatever demuxes, decodes and encodes. FFmpeg's libraries stand behind it: they take 20 ms and
/// 26 MB to load, so the service keeps them in a module of their own and loads it at the first use. The public
/// classes of platform/movie and platform/audio call the backends; nobody else does.
class MediaBackend {
public:
    virtual ~MediaBackend() = default;
    virtual MovieBackend& movies() = 0;
    virtual AudioBackend& audio() = 0;
};

/// The one of this process, made at the first call; any thread. Which one that is, the program chooses when it
/// is linked: mv_media_backend_static has FFmpeg linked in (tests, fuzzers, benchmarks), mv_media_backend_module
/// loads mivo-ffmpeg.so from ../lib or ../lib/mivo beside the executable. Where the module cannot be loaded,
/// that is logged once and the backends answer every request with an error.
MediaBackend& mediaBackend();

} // namespace mv
