#include "platform/ffmpeg/BackendParts.h"
#include "platform/ffmpeg/MediaInput.h"
#include "platform/movie/MovieBackend.h"

namespace mv {

namespace {

class FfmpegMovieBackend final : public MovieBackend {
public:
    bool recognises(InputFile file) override { return MediaInput::recognises(std::move(file)); }
};

} // namespace

MovieBackend& ffmpegMovieBackend()
{
    static FfmpegMovieBackend backend;
    return backend;
}

} // namespace mv
