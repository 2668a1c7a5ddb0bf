#pragma once

#include "bus/Wire.h"
#include "service/job/TagChanges.h"

namespace mv {

/// The tags of a call, a{sv}. Keys that are not written are ignored. Throws BusError: InvalidArgs for a value of
/// another type or out of range, and for a picture that is neither JPEG nor PNG; AccessDenied and NotRegular of the
/// interface for a handle that cannot be read.
TagChanges readTagChanges(WireReader& in);

} // namespace mv
