#pragma once

#include "Base/Core/Path.h"

namespace mv {

/// The log line of an update that wrote everything but the picture, because the file's tags would be larger than
/// MaxTagBytes with it.
void logPictureLeftOut(const Path& path);

} // namespace mv
