#pragma once

#include "facts/Facts.h"
#include "mp4/MetadataItems.h"

namespace mv {

/// The ID3v2.4 tag that a new MP3 file begins with, with some room behind its frames: what the facts say of a song, and
/// their pictures. Several values of one frame have a zero between them. Empty where there is nothing to say.
Bytes id3TagOf(const Facts& facts);

/// The same as the metadata list of a new MPEG-4 file. Of the pictures the first alone: a list says nothing of what a
/// picture shows.
MP4ItmfItemList metadataItemsOf(const Facts& facts);

} // namespace mv
