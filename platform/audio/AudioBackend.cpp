#include "platform/audio/AudioBackend.h"

#include "platform/ffmpeg/BackendParts.h"
#include "platform/ffmpeg/MediaBackend.h"

#include <atomic>

namespace mv {

namespace {

std::atomic<AudioBackend*> s_replacement = nullptr;

} // namespace

AudioBackend& unavailableAudioBackend()
{
    static AudioBackend backend;
    return backend;
}

AudioBackend& audioBackend()
{
    AudioBackend* replacement = s_replacement;
    return replacement ? *replacement : mediaBackend().audio();
}

void setAudioBackendForTesting(AudioBackend* backend) { s_replacement = backend; }

} // namespace mv
