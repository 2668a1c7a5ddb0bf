#pragma once

#include "Base/Core/Bytes.h"

namespace mv {

/// One IPLS body, the list of people and what they did, of two: all pairs of the first, then those of the second that
/// the first does not have. v2.3 allows one such frame; v2.4 keeps musicians apart from the others.
Bytes mergedInvolvedPeople(ByteView first, ByteView second);

} // namespace mv
