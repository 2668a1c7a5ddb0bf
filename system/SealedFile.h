#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

namespace mv {

/// The bytes as a file in memory that nobody can change any more, open at its start.
Result<UniqueFd> sealedFile(ByteView bytes);

} // namespace mv
