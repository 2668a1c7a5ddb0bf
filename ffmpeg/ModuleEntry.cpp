#include "ffmpeg/MediaBackend.h"

/// The name is MediaModuleEntry; the module exports nothing else.
extern "C" __attribute__((visibility("default"))) mv::MediaBackend* mivoMediaBackend()
{
    return &mv::ffmpegMediaBackend();
}
