#pragma once

#include "audio/AacEncoder.h"

#include <memory>

namespace mv {

/// FFmpeg's own AAC encoder, low complexity profile.
Result<std::unique_ptr<AacEncoder>> makeFfmpegAacEncoder(const AacEncoderSettings& settings);

} // namespace mv
