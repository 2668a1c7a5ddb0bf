#include "platform/audio/AudioBackend.h"
#include "platform/audio/ffmpeg/AacEncoderFfmpeg.h"
#include "platform/audio/ffmpeg/FfmpegAudioSource.h"
#include "platform/ffmpeg/BackendParts.h"

namespace mv {

namespace {

class FfmpegAudioBackend final : public AudioBackend {
public:
    Result<std::unique_ptr<AacEncoder>> makeAacEncoder(const AacEncoderSettings& settings) override
    {
        return makeFfmpegAacEncoder(settings);
    }
    Result<std::unique_ptr<AudioSource>> openSource(const Path& path) override { return FfmpegAudioSource::open(path); }
};

} // namespace

AudioBackend& ffmpegAudioBackend()
{
    static FfmpegAudioBackend backend;
    return backend;
}

} // namespace mv
