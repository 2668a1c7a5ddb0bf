#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Orientation.h"

namespace mv::cli {

/// How a picture file's pixels are to be turned to be upright, by what the file says; upright for what cannot be
/// opened.
Orientation orientationOf(const Path& path);

} // namespace mv::cli
