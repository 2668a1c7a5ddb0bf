#pragma once

#include "Base/Core/Bytes.h"
#include "facts/Facts.h"

namespace mv {

/// What an EXIF block says of the camera, the exposure, the place and the time. `block` begins with its byte order
/// mark. The orientation is not set where one is already known.
void addExif(Facts& facts, ByteView block);

} // namespace mv
