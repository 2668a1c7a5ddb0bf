#include "ffmpeg/MediaBackend.h"
#include "ffmpeg/movies/CodecCodes.h"
#include "ffmpeg/movies/FfmpegMovie.h"
#include "ffmpeg/movies/MediaStreamsFfmpeg.h"
#include "ffmpeg/movies/PassThrough.h"

namespace mv {

namespace {

class FfmpegMovieBackend final : public MovieBackend {
public:
    bool recognises(const SharedSource& file) override { return MediaInput::recognises(file); }
    Result<std::unique_ptr<BackendMovie>> open(SharedSource file, std::chrono::milliseconds deadline) override
    {
        return FfmpegMovie::open(std::move(file), deadline);
    }
    Result<MediaStreams> describeStreams(
        SharedSource file, std::chrono::milliseconds deadline, bool withCovers) override
    {
        return describeMediaStreams(std::move(file), deadline, withCovers);
    }
    bool hasVideoDecoder(FourCC format) override { return avcodec_find_decoder(videoCodecOf(format)) != nullptr; }
    bool hasAudioDecoder(FourCC format) override { return avcodec_find_decoder(audioCodecOf(format)) != nullptr; }
    bool isUncompressedAudio(FourCC format) override { return isPcm(audioCodecOf(format)); }
    Result<void> passThrough(
        SharedSource source, OutputFile& target, const MovieExportSettings& settings, const Progress& progress) override
    {
        return passMovieThrough(std::move(source), target, settings, progress);
    }
};

} // namespace

MovieBackend& ffmpegMovieBackend()
{
    static FfmpegMovieBackend backend;
    return backend;
}

} // namespace mv
