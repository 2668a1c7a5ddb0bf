#pragma once

#include "audio/AudioStreamBasicDescription.h"
#include "ffmpeg/FfmpegHeaders.h"

namespace mv {

/// What a file says of its audio data. Compressed formats have no depth, but for FLAC, whose is that of the samples
/// it was made from, in whole bytes. Apple Lossless tells its depth in the flags. Floating-point and integer samples
/// of more than 32 bits are described by the 32 that are delivered.
AudioStreamBasicDescription fileDataFormat(const AVCodecContext& codec, const AVCodecParameters& parameters);

} // namespace mv
