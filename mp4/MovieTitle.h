#pragma once

#include "mp4/MovieFacts.h"

#include <string>

namespace mv {

/// The movie's title, from the first place that has one: the iTunes item, the QuickTime metadata key, the QuickTime
/// user data text, the 3GPP title box. Valid UTF-8, cut at the first zero byte; never empty.
std::optional<std::string> movieTitle(StructureReader& reader, const MovieFacts& facts);

} // namespace mv
