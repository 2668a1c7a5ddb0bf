#include "platform/audio/AudioBackend.h"
#include "platform/audio/ffmpeg/AacEncoderFfmpeg.h"
#include "platform/ffmpeg/BackendParts.h"

namespace mv {

namespace {

class FfmpegAudioBackend final : public AudioBackend {
public:
    Result<std::unique_ptr<AacEncoder>> makeAacEncoder(const AacEncoderSettings& settings) override
    {
        return makeFfmpegAacEncoder(settings);
    }
};

} // namespace

AudioBackend& ffmpegAudioBackend()
{
    static FfmpegAudioBackend backend;
    return backend;
}

} // namespace mv
