#pragma once

#include "Base/Core/Bytes.h"

#include <string_view>

namespace mv::test {

/// Appends a chunk of a PNG file: length, name, content and their checksum.
void appendPngChunk(Bytes& png, std::string_view name, ByteView content);

} // namespace mv::test
