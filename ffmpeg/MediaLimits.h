#pragma once

#include <cstddef>
#include <cstdint>

namespace mv {

// Bounds for what a media file may make FFmpeg do. No honest file comes near them.

/// One allocation: a frame of MaxPixels with 10 bits takes 200 MB, a sample table of 10 hours 30 MB.
inline constexpr std::size_t MaxAllocation = std::size_t { 256 } << 20;
/// Pixels of a video frame, 8192 x 8192: keeps a frame within one allocation.
inline constexpr std::int64_t MaxPixels = 8192 * 8192;
/// Pixels of a frame that is decoded to find out about a stream, shared by all streams of the file: each of them may
/// hold sixteen frames at that moment.
inline constexpr std::int64_t MaxAnalyzedPixels = 8192 * 4320;
/// All frames that one decoder has out at a time; 8K pictures with 10 bits need eight of 100 MB.
inline constexpr std::int64_t MaxFrameMemory = std::int64_t { 896 } << 20;
/// Pixels above which frames are decoded one at a time: every thread holds frames of its own.
inline constexpr std::int64_t MaxThreadedFrame = 4096 * 2304;
/// Streams of a file; a movie with many languages has 30.
inline constexpr int MaxStreams = 64;
/// Bytes read to recognise a container and, where its header does not tell, its codecs.
inline constexpr int MaxProbeBytes = 2 << 20;
/// Microseconds of the file looked at to find out its codecs.
inline constexpr std::int64_t MaxAnalyzeDuration = 5'000'000;
/// FFmpeg's sureness of a movie's container, of 100, below which it is none. Text with a G here and there is a
/// transport stream to it with 2, bytes with a frame's mark among them are sound with 1.
inline constexpr int MinMovieScore = 3;

} // namespace mv
