#pragma once

#include <string>
#include <string_view>

namespace mv {

/// The v2.3 name of a frame: of a three-letter v2.2 name its successor, of the v2.4 names with a v2.3 meaning that one
/// (TDRC: TYER, TDOR: TORY, TIPL and TMCL: IPLS); any other name unchanged.
std::string v23FrameId(std::string_view storedId);

} // namespace mv
