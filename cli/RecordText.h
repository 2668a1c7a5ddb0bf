#pragma once

#include "Base/Media/Record.h"

#include <string>
#include <string_view>

namespace mv::cli {

/// A value as people read it: lengths as minutes and seconds, rates and sizes with their units, dates as local time,
/// pictures by their kind and size. Safe for a terminal.
std::string readableValue(std::string_view key, const Value& value);

/// The record, one key a line, indented under the file's name.
std::string readableRecord(std::string_view title, const Record& record, bool emphasised);

/// "4:05", "1:02:09"
std::string readableLength(std::int64_t seconds);
/// "4.2 MB"; decimal units.
std::string readableSize(std::int64_t bytes);
/// "2026-11-21 13:24:15"
std::string localDate(Date date);

/// Pads `text` with blanks to a number of columns, one for each character.
std::string padded(std::string_view text, std::size_t columns);

} // namespace mv::cli
