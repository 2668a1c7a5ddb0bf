#pragma once

#include "id3/MpegHeader.h"

namespace mv {

// Frames of the free format, whose headers tell neither bit rate nor size: all of a stream have one size (but for the
// padding), and the distance of their headers tells it. Two bytes of a picture look like such a header easily, so it
// takes more to be one.

/// The bytes that are looked at to know a stream of such frames.
std::size_t freeFormatProofSize(const MpegHeader& header);

/// The size of the frame that `bytes` begin with, padding included; 0 when no stream of the free format begins there.
/// That takes three more headers at the same distance (or as many as the stream's end leaves room for, two at least),
/// none nearer than a frame is long, and frames whose own content is possible. `bytes` are freeFormatProofSize many, or
/// all until the end.
std::size_t freeFormatSize(const MpegHeader& header, ByteView bytes);

} // namespace mv
