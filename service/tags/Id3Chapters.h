#pragma once

#include "Base/Core/Bytes.h"

#include <string_view>

namespace mv {

/// The v2.3 form of a chapter frame (CHAP, CTOC) of a v2.4 tag. Such a frame ends in frames of its own, whose sizes and
/// text encodings follow the tag's version. Content too damaged to have them comes back as it is.
Bytes v23ChapterBody(std::string_view id, ByteView content);

} // namespace mv
