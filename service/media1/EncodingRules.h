#pragma once

#include "facts/Facts.h"
#include "service/include/EncodingWish.h"
#include "service/media1/EncodingJob.h"

#include <optional>
#include <string_view>

namespace mv {

/// The format that files of that ending have; nothing for one that is not made here.
std::optional<SoundFormat> formatOfEnding(std::string_view path);

/// A song, or moving pictures with sound, of a format that has a decoder here.
bool hasEncodableSound(const Facts& facts);

/// Raises a MediaError for an order whose destination is known to have no room for a file before anything is done.
void checkDestination(const EncodingOrder& order);

} // namespace mv
