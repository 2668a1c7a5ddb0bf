#pragma once

#include "service/host/AppDelegate.h"
#include "service/isolated/WorkerHost.h"
#include "system/Activity.h"

#include <vector>

namespace mv {

/// The nine services, and the interface for new programs, in the order in which they are published. What they serve has
/// its files read by the workers, which outlive it. Jobs on threads are told to `activity`, where there is one.
std::vector<ServiceRow> services(WorkerHost& workers, Activity* activity = nullptr);

} // namespace mv
