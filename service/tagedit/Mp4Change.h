#pragma once

#include "mp4/MetadataItems.h"
#include "service/job/TagChanges.h"

namespace mv {

/// The items of an MPEG-4 file with the changes. An item of several values has them one behind the other, each of its
/// own. What is not named stays as it is; of several covers the first is replaced.
MP4ItmfItemList changedItems(const MP4ItmfItemList& before, const TagChanges& changes);
/// The codes of the texts that are changed, which no other place of the movie is to say again.
std::vector<std::uint32_t> changedTexts(const TagChanges& changes);

} // namespace mv
