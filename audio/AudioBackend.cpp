#include "audio/AudioBackend.h"

#include <atomic>

namespace mv {

namespace {

std::atomic<AudioBackend*> s_replacement = nullptr;

} // namespace

AudioBackend& audioBackend()
{
    AudioBackend* replacement = s_replacement;
    return replacement ? *replacement : installedAudioBackend();
}

void setAudioBackendForTesting(AudioBackend* backend) { s_replacement = backend; }

} // namespace mv
