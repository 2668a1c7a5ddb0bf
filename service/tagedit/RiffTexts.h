#pragma once

#include "service/job/TagChanges.h"

#include <cstdint>
#include <optional>
#include <string>

namespace mv {

// The texts that WAVE and AIFF files have beside an ID3 tag.

/// The content of an INFO list ("INFO" in front) with the changes: of the first list of a file with the new values, of
/// others without what is named. `list` is the old content behind its name. Empty where nothing would be in it.
Bytes changedInfoList(ByteView list, const TagChanges& changes, bool isFirst);

/// What a text chunk of an AIFF file is to hold; nothing where it stays. `isFirst` of the chunks of its kind.
std::optional<std::string> changedAiffText(std::uint32_t id, const TagChanges& changes, bool isFirst);

} // namespace mv
