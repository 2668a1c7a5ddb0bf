#pragma once

#include "Base/Core/Result.h"
#include "facts/Facts.h"
#include "system/OpenedFile.h"

namespace mv {

/// Whether facts that nobody vouches for, whose keys and values were looked at where they came as bytes, are those of a
/// file: what it is, and not where. Format otherwise.
Result<void> checkFacts(const Facts& facts);

/// Puts what the host itself knows of the file into its facts: where it is, for calls with a path, its size and when it
/// was modified. A worker that lies must not lead a client to another file.
void setHostFacts(Facts& facts, const OpenedFile& file, bool hasPath);

} // namespace mv
