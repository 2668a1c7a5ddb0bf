#pragma once

#include "platform/QTKit.h"

namespace mv {

// CheckValidate: what is asked of a movie before it is described or copied.

/// Whether an enabled sound track is Apple Lossless, going by its sample description 1 alone.
bool isAlacAudio(const QTMovie& movie);

/// Whether everything that plays the enabled tracks is installed: an image decompressor for pictures, a sound
/// decompressor for sound, a media handler for any other media. True for a movie without tracks.
bool validateMedia(const QTMovie& movie, QTKit& toolkit);

} // namespace mv
