#include "platform/audio/AudioBackend.h"

#include "platform/ffmpeg/BackendParts.h"

namespace mv {

AudioBackend& unavailableAudioBackend()
{
    static AudioBackend backend;
    return backend;
}

} // namespace mv
