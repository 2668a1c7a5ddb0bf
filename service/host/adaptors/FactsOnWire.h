#pragma once

#include "bus/OpenCalls.h"
#include "service/media1/MediaService.h"

namespace mv {

// The answers of Mivo.Media1 as they go on the wire, each made where the work has ended, and put into its message on
// the serving thread. An error of the work is the error that answers the call.

/// With pictures there is a list of them, even an empty one.
PackAnswer packFacts(MediaService::FactsOrError answer, bool withPictures);
PackAnswer packManyFacts(MediaService::Answer<std::vector<MediaService::FactsOrError>> answer);
PackAnswer packThumbnail(MediaService::Answer<Thumbnail> answer, ThumbnailFormat format);

/// The error's name on the bus.
std::string wholeNameOf(const MediaError& error);
/// Answers a call with it.
[[noreturn]] void raiseOnWire(const MediaError& error);

} // namespace mv
