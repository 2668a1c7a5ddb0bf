#pragma once

#include "id3/Id3v2Tag.h"
#include "service/tags/Id3Frame.h"

#include <vector>

namespace mv {

/// The frames of a tag as they are carried into a v2.3 tag: those of a v2.3 tag byte for byte, whatever their names,
/// those of another in their v2.3 form. What v2.3 has no form for is left out.
///
/// v2.3 has a recording time in three frames (TYER, TDAT, TIME), an original year and a list of people, each once.
/// Where a v2.4 tag also has the v2.3 frames, its own (TDRC, TDOR) go before them, and all people come into one list.
std::vector<Id3Frame> carriedFrames(const Id3v2Tag& tag);

/// Puts the people of an IPLS frame to those of one that is among `frames`. False where that is not so: it is another
/// frame, there is none, both come from v2.3, or one is packed.
bool mergePeople(std::vector<Id3Frame>& frames, const Id3Frame& frame);

/// True for a comment whose description is empty: nothing, or a byte order mark alone, before its terminator.
bool isPlainComment(const TagFrame& frame);

} // namespace mv
