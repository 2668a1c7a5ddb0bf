#pragma once

namespace mv {

class AudioBackend;
class MediaBackend;
class MovieBackend;

// The parts that a media backend is put together from; each is defined in the folder of its interface. All live
// as long as the process.

/// On FFmpeg: platform/movie/ffmpeg and platform/audio/ffmpeg.
MovieBackend& ffmpegMovieBackend();
AudioBackend& ffmpegAudioBackend();

/// Those that stand in when FFmpeg is missing: every answer is an error or "no".
MovieBackend& unavailableMovieBackend();
AudioBackend& unavailableAudioBackend();

/// Both FFmpeg backends together; prepares FFmpeg (limits, log) at the first call.
MediaBackend& ffmpegMediaBackend();

/// The module's one exported symbol: a `MediaBackend* ()` that returns ffmpegMediaBackend().
inline constexpr const char* MediaModuleEntry = "mivoMediaBackend";

} // namespace mv
