#pragma once

#include "Base/Core/Path.h"
#include "client/ServiceBus.h"

namespace mv::cli {

/// How many seconds a file plays; 0 when nobody knows.
double playLength(ServiceBus& bus, const Path& path);

} // namespace mv::cli
