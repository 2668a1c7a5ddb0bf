#pragma once

#include "Base/Core/Bytes.h"
#include "facts/reading/TagPictures.h"

namespace mv {

/// The comments of FLAC and of Ogg's codecs: a vendor's text, then "KEY=value" each behind its length. Those that are
/// cut off are left out.
void addVorbisComments(TagSink& sink, ByteView block);

/// FLAC's picture block: type, media type, description, sizes, the picture. `length` is the block's where `block` is
/// only its begin.
void addFlacPicture(TagSink& sink, ByteView block);

} // namespace mv
