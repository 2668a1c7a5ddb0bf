#pragma once

#include "cli/facts/FactField.h"

namespace mv::cli {

/// A value as people read it: lengths as "3:05", rates as "44.1 kHz" and "192 kbit/s", sizes with their units,
/// exposures as "1/250 s", places as "48.858222° N", times as local time, several texts with "; " between. Safe for a
/// terminal.
std::string readableFact(const FactField& field, const FactValue& value);

/// The file's name, emphasised or not, and below it a line for each of the fields that is known.
std::string readableFile(const DescribedFile& file, const FactFields& fields, bool emphasised);

/// The same with what people ask for, in the order in which they do: without the URI, numbers of tracks and discs with
/// their totals, long texts cut.
std::string readableFile(const DescribedFile& file, bool emphasised);

} // namespace mv::cli
