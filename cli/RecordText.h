#pragma once

#include "Base/Media/Record.h"
#include "cli/text/ReadableText.h"

#include <string>
#include <string_view>

namespace mv::cli {

/// A value as people read it: lengths as minutes and seconds, rates and sizes with their units, dates as local time,
/// pictures by their kind and size. Safe for a terminal.
std::string readableValue(std::string_view key, const Value& value);

/// The record, one key a line, indented under the file's name.
std::string readableRecord(std::string_view title, const Record& record, bool emphasised);

} // namespace mv::cli
