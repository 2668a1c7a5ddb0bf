#pragma once

#include "service/host/AppDelegate.h"

#include <span>

namespace mv {

/// The nine services in the order in which they are published.
std::span<const ServiceRow> services();

} // namespace mv
