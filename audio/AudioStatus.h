#pragma once

#include "Base/Core/Error.h"
#include "Base/Core/OSStatus.h"
#include "Base/Core/Text.h"

#include <cstdint>

namespace mv {

/// The status that stands for an error of the file system or of reading, by its kind.
OSStatus statusOfKind(Error::Kind kind);
/// The same for an error of writing, which knows a full disk.
OSStatus statusOfWriting(const Error& error);

/// A status or format as its four characters, each byte one character (negative numbers too).
inline std::string UTCreateStringForOSType(std::int32_t code)
{
    return fourCharacterText(static_cast<std::uint32_t>(code));
}

} // namespace mv
