#pragma once

#include "id3/Id3v2Tag.h"

#include <optional>
#include <string>

namespace mv {

/// Text of an unknown code page, which calls itself Latin-1, as UTF-8: Korean code page 949 where it can be, else
/// Latin-1.
std::string utf8FromLegacy(ByteView text);

/// The text of a text or comment frame as UTF-8, up to what terminates it; several values of v2.4 joined by "/".
/// Nothing where it is empty, is cut off before it, or cannot be decoded (UTF-16 with half a character).
std::optional<std::string> frameText(const TagFrame& frame);

} // namespace mv
