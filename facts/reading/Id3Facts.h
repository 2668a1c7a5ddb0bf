#pragma once

#include "facts/reading/TagPictures.h"
#include "id3/Id3v1Tag.h"
#include "id3/Id3v2Tag.h"
#include "system/ByteSource.h"

namespace mv {

/// What the frames of a tag say. Several values have a zero between them in every version; "/" separates nothing.
void addId3v2(TagSink& sink, const Id3v2Tag& tag);
/// The tag that fills a chunk of a WAVE or AIFF file, or the front of another file; nothing where there is none.
void addId3v2At(TagSink& sink, const ByteSource& source, std::uint64_t offset, std::uint64_t size);
void addId3v1(TagSink& sink, const Id3v1Tag& tag);

} // namespace mv
