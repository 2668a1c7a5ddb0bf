#pragma once

#include "mp3/FrameStream.h"

namespace mv {

/// The number of a frame from `begin` on and before `end` at which `later` can take over from `earlier`, both made of
/// the same sound: the frames before it are the one's, it and those behind it the other's. Nothing where there is none.
///
/// There the windows of both fit, and the main data of the later stream's frames begin where those of the earlier one's
/// have ended, so that no header has to be changed. Of several the one at which both streams are most alike. `kept` is
/// the first frame of the earlier stream that may still be changed.
std::optional<std::size_t> findJoint(
    const Mp3FrameStream& earlier, const Mp3FrameStream& later, std::size_t kept, std::size_t begin, std::size_t end);

/// Puts into the room of the earlier stream's frames what the later one's from the joint on have before it. A joint
/// that was found only.
void joinAt(std::size_t joint, Mp3FrameStream& earlier, const Mp3FrameStream& later);

} // namespace mv
