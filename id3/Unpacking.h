#pragma once

#include "Base/Core/Bytes.h"

#include <optional>

namespace mv {

/// False where bytes hold what unsynchronisation would have broken up: FF with E0 or more behind it.
bool isUnsynchronised(ByteView bytes);
/// True when undoing it would change the bytes.
bool needsResynchronising(ByteView bytes);
/// Takes the zero byte behind every FF out, in place; the new length.
std::size_t undoUnsynchronisation(std::span<std::uint8_t> bytes);

/// The zlib stream unpacked to exactly `length` bytes, or nothing: when it is larger or smaller or broken, or when
/// `length` is above `limit` or above what a stream of that size can hold.
std::optional<Bytes> inflateExactly(ByteView packed, std::size_t length, std::size_t limit);

} // namespace mv
