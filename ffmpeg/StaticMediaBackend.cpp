#include "ffmpeg/MediaBackend.h"

namespace mv {

MovieBackend& installedMovieBackend() { return ffmpegMediaBackend().movies(); }

AudioBackend& installedAudioBackend() { return ffmpegMediaBackend().audio(); }

} // namespace mv
