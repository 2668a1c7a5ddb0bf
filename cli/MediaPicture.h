#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"
#include "Base/Media/Record.h"
#include "client/ServiceBus.h"

#include <optional>

namespace mv::cli {

/// The picture of a song or video, as TIFF: that of its record, in the size that the services give it; where its record
/// has none (covers of FLAC, Ogg, WAVE and others), the one that Mivo.Media1 finds, at most 200 x 200. Nothing where
/// there is neither.
Result<std::optional<Bytes>> pictureOfMedia(ServiceBus& bus, const Path& path, const Record& record);

/// Whether the service says with that that a file has no picture, and not that it could not be read.
bool meansNoPicture(const Error& error);

} // namespace mv::cli
