#pragma once

#include "facts/reading/TagPictures.h"
#include "system/ByteSource.h"

namespace mv {

/// The items of an APE tag. `extent` is the whole tag; it has a header of 32 bytes in front of its items where it
/// begins with "APETAGEX".
void addApeItems(TagSink& sink, const ByteSource& source, std::uint64_t offset, std::uint64_t size);

} // namespace mv
