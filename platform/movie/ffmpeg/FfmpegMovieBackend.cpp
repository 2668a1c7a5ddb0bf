#include "platform/ffmpeg/BackendParts.h"
#include "platform/movie/ffmpeg/CodecCodes.h"
#include "platform/movie/ffmpeg/FfmpegMovie.h"

namespace mv {

namespace {

class FfmpegMovieBackend final : public MovieBackend {
public:
    bool recognises(InputFile file) override { return MediaInput::recognises(std::move(file)); }
    Result<std::unique_ptr<BackendMovie>> open(InputFile file, std::chrono::milliseconds deadline) override
    {
        return FfmpegMovie::open(std::move(file), deadline);
    }
    bool hasVideoDecoder(OSType format) override { return avcodec_find_decoder(videoCodecOf(format)) != nullptr; }
    bool hasAudioDecoder(OSType format) override { return avcodec_find_decoder(audioCodecOf(format)) != nullptr; }
    bool isUncompressedAudio(OSType format) override { return isPcm(audioCodecOf(format)); }
};

} // namespace

MovieBackend& ffmpegMovieBackend()
{
    static FfmpegMovieBackend backend;
    return backend;
}

} // namespace mv
