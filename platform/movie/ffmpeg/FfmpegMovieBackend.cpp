#include "platform/ffmpeg/BackendParts.h"
#include "platform/movie/ffmpeg/CodecCodes.h"
#include "platform/movie/ffmpeg/FfmpegMovie.h"
#include "platform/movie/ffmpeg/PassThrough.h"

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
    Result<void> passThrough(
        const Path& source, OutputFile& target, const MovieExportSettings& settings, const Progress& progress) override
    {
        return passMovieThrough(source, target, settings, progress);
    }
};

} // namespace

MovieBackend& ffmpegMovieBackend()
{
    static FfmpegMovieBackend backend;
    return backend;
}

} // namespace mv
