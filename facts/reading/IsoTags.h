#pragma once

#include "facts/Facts.h"
#include "facts/reading/TagPictures.h"
#include "mp4/MovieFacts.h"

namespace mv {

/// The tags of a movie: iTunes-style items, then the keys of QuickTime's metadata, then the texts of QuickTime's and
/// 3GPP's user data. What cameras leave there (make, model, place) becomes facts.
void addIsoTags(TagSink& sink, Facts& facts, StructureReader& reader, const MovieFacts& movie);

} // namespace mv
