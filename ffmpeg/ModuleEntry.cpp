#include "ffmpeg/MediaBackend.h"

#include <cstdint>
#include <sys/random.h>

/// In place of libavutil's, which FFmpeg's libraries find behind this module's. That one opens /dev/urandom, and where
/// it may not, as in a closed process, it collects chance from the clock for a tenth of a second; each hint track asks
/// three times.
extern "C" __attribute__((visibility("default"))) std::uint32_t av_get_random_seed()
{
    std::uint32_t seed = 0;
    // It never fails for so few bytes, and nothing here is a secret.
    static_cast<void>(getrandom(&seed, sizeof seed, 0));
    return seed;
}

/// The name is MediaModuleEntry; beside that function the module exports nothing else.
extern "C" __attribute__((visibility("default"))) mv::MediaBackend* mivoMediaBackend()
{
    return &mv::ffmpegMediaBackend();
}
