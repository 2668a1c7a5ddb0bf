#pragma once

#include "id3/MpegHeader.h"

namespace mv {

/// False when the beginning of a frame's content speaks against its being one: values that the standard forbids, or
/// more bits than the frame has. Looks at layer I's allocation and layer III's side information; of layer II, and of
/// frames that `bytes` cut, nothing is known. `bytes` begin with the header; `size` is the frame's.
bool hasPossibleContent(const MpegHeader& header, ByteView bytes, std::size_t size);

} // namespace mv
