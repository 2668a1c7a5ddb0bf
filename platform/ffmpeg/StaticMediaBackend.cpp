#include "platform/ffmpeg/BackendParts.h"
#include "platform/ffmpeg/MediaBackend.h"

namespace mv {

MediaBackend& mediaBackend() { return ffmpegMediaBackend(); }

} // namespace mv
