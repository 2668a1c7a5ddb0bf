#pragma once

#include "Base/Core/Result.h"
#include "client/MediaRequests.h"

#include <string>
#include <string_view>

namespace mv::cli {

/// A file and its tags, as a line of "mivo describe --format jsonl" has them.
struct JsonTags {
    std::string file; ///< as "path" has it, else the path of "xesam:url"
    MediaTags tags; ///< a value of null removes
};

/// Reads one JSON object. Keys of tags that are written have the types of their facts, or null; one text may stand for
/// a list of one. "mivo:frontCover" can only be null. Other keys are ignored. Fails with a sentence at what is no
/// object, names no file, or has a tag of another type or out of range.
Result<JsonTags> jsonTagsOf(std::string_view line);

} // namespace mv::cli
