#pragma once

#include "system/OpenedFile.h"

namespace mv::fuzz {

/// A regular file of that content, as if a call had named it.
inline OpenedFile openedBytes(const std::uint8_t* data, std::size_t size, const char* name)
{
    FileAttributes attributes { .size = static_cast<std::int64_t>(size), .isRegularFile = true };
    return { name, attributes, sourceOfBytes(Bytes(data, data + size)) };
}

} // namespace mv::fuzz
