#include "ffmpeg/FfmpegSetup.h"
#include "ffmpeg/MediaBackend.h"

namespace mv {

namespace {

class FfmpegMediaBackend final : public MediaBackend {
public:
    FfmpegMediaBackend() { setUpFfmpeg(); }

    MovieBackend& movies() override { return ffmpegMovieBackend(); }
    AudioBackend& audio() override { return ffmpegAudioBackend(); }
};

} // namespace

MediaBackend& ffmpegMediaBackend()
{
    static FfmpegMediaBackend backend;
    return backend;
}

} // namespace mv
