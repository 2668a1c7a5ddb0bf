#pragma once

#include "cli/TagChange.h"
#include "facts/Facts.h"

#include <string>

namespace mv::cli {

/// What a file's tag says.
struct TagState {
    Facts facts;
    std::string cover; ///< the front cover for people, "picture, 600 x 600, 42 kB"; empty where there is none

    bool operator==(const TagState&) const = default;
};

/// The state as it would be. `cover` is what people are told of the new one.
TagState stateWith(TagState state, const MediaTags& tags, const std::string& cover);

/// Those of the tags that say something else than the facts. A cover always does, unless it is removed where none is.
MediaTags differingTags(MediaTags tags, const TagState& present);

/// A row for each field that the file has, or is to have: before and after.
std::string tagRows(const TagState& before, const TagState& after);

/// The names of the tags that the facts do not show as they were asked for, with commas between; empty where all are
/// there. A date that a format has less room for may be shorter.
std::string missingTags(const MediaTags& tags, const Facts& now);

} // namespace mv::cli
