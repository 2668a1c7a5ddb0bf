#pragma once

#include <string>
#include <string_view>

namespace mv {

/// The v2.3 name of a frame in a tag of a version: of a three-letter v2.2 name its successor, whatever the version; in
/// v2.4 also of its names with a v2.3 meaning that one (TDRC: TYER, TDOR: TORY, TIPL and TMCL: IPLS); any other name
/// unchanged.
std::string v23FrameId(std::string_view storedId, int majorVersion);

} // namespace mv
