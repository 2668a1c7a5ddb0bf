#pragma once

#include "Base/Core/Result.h"
#include "service/job/TagChanges.h"

namespace mv {

/// A list of Vorbis comments (vendor, comments, whatever lies behind them) with the changes. What is not named keeps
/// its place and its bytes, in any case of its key. A picture is put into the list only where `takesCover`: FLAC has
/// blocks for them, and then the list loses the front cover that it has. Format where the list cannot be read whole.
Result<Bytes> changedVorbisComments(ByteView list, const TagChanges& changes, bool takesCover);

/// A list with nothing in it.
Bytes emptyVorbisComments();

/// The body of a FLAC picture block: the front cover, without a description.
Bytes flacPictureBlock(ByteView picture);
/// True for the body of a picture block that is a front cover.
bool isFlacFrontCover(ByteView block);

} // namespace mv
