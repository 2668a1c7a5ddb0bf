#pragma once

#include "Base/Media/Record.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>

namespace mv::cli {

/// Text as it may go to a terminal: valid UTF-8, control characters (so that a tag cannot send commands to the
/// terminal) and bytes that are no UTF-8 as escapes.
std::string terminalText(std::string_view text);

/// "4:05", "1:02:09"
std::string readableLength(std::int64_t seconds);
/// "4.2 MB"; decimal units.
std::string readableSize(std::int64_t bytes);
/// "2026-11-21 13:24:15"
std::string localDate(Date date);

/// Pads `text` with blanks to a number of columns, one for each character.
std::string padded(std::string_view text, std::size_t columns);

} // namespace mv::cli
