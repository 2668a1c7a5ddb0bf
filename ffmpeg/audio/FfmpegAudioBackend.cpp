#include "audio/AudioBackend.h"
#include "ffmpeg/MediaBackend.h"
#include "ffmpeg/audio/AacEncoderFfmpeg.h"
#include "ffmpeg/audio/FfmpegAudioSource.h"

namespace mv {

namespace {

class FfmpegAudioBackend final : public AudioBackend {
public:
    Result<std::unique_ptr<AacEncoder>> makeAacEncoder(const AacEncoderSettings& settings) override
    {
        return makeFfmpegAacEncoder(settings);
    }
    Result<std::unique_ptr<AudioSource>> openSource(SharedSource file) override
    {
        return FfmpegAudioSource::open(file);
    }
};

} // namespace

AudioBackend& ffmpegAudioBackend()
{
    static FfmpegAudioBackend backend;
    return backend;
}

} // namespace mv
