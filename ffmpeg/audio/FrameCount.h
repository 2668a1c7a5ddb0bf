#pragma once

#include "ffmpeg/audio/FrameDecoder.h"

namespace mv {

/// How long a stream plays, and how its end is found while decoding.
struct FrameCount {
    std::int64_t frames = 0;
    FrameDecoder::End end = FrameDecoder::End::Trimmed;
};

/// What decoding the file's first audio stream delivers. Reads the packets where they tell it; decodes to count
/// where only that is sure. Demuxes the file anew each time it has to go through it. An error
/// (kAudioFileInvalidFileError) where the file was cut before its sound began, and of ISO media, whose header lists
/// every sample, anywhere.
Result<FrameCount> countFrames(const SharedSource& file);

} // namespace mv
