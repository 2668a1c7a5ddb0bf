#include "platform/audio/AudioBackend.h"
#include "platform/ffmpeg/BackendParts.h"

namespace mv {

namespace {

class FfmpegAudioBackend final : public AudioBackend { };

} // namespace

AudioBackend& ffmpegAudioBackend()
{
    static FfmpegAudioBackend backend;
    return backend;
}

} // namespace mv
