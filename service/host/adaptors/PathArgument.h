#pragma once

#include "Base/Core/Path.h"

#include <string>
#include <utility>

namespace mv {

/// An empty string on the bus is a nil path.
inline Path pathFromWire(std::string text) { return text.empty() ? Path() : Path(std::move(text)); }

} // namespace mv
