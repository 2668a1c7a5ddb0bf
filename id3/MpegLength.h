#pragma once

#include "id3/MpegStream.h"

namespace mv {

// Lengths of streams without a table. Both take the first audio frame and end with the window.

/// Of a stream with one bit rate: from the bytes it fills. Nothing when a look into it, every 64 KiB, shows a second
/// bit rate or no stream.
std::optional<double> secondsOfConstantStream(MpegStream& stream, const MpegFrame& first);

/// From all headers. Junk and other tags between the frames are stepped over.
double secondsByWalking(MpegStream& stream, const MpegFrame& first);

} // namespace mv
