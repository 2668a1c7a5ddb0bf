#pragma once

#include "Base/Core/Error.h"

#include <string_view>

namespace mv {

/// No format that is read, or a tag without sound and pictures.
inline Error notMedia(const char* text) { return { Error::Kind::Format, text }; }
/// A picture of too many pixels, or a file whose reading would take too much memory.
inline Error tooLarge(const char* text) { return { Error::Kind::Limit, text }; }
/// A folder, a FIFO, a device.
inline Error notRegular(const char* text) { return { Error::Kind::State, text }; }

/// What the error of a description is called where programs see it: "NotFound", "AccessDenied", "NotRegular",
/// "NotMedia", "TooLarge", "Failed".
constexpr std::string_view describeErrorName(Error::Kind kind)
{
    switch (kind) {
    case Error::Kind::NotFound:
        return "NotFound";
    case Error::Kind::Access:
        return "AccessDenied";
    case Error::Kind::State:
        return "NotRegular";
    case Error::Kind::Format:
    case Error::Kind::Unsupported:
        return "NotMedia";
    case Error::Kind::Limit:
        return "TooLarge";
    case Error::Kind::Cancelled:
    case Error::Kind::Io:
        break;
    }
    return "Failed";
}

} // namespace mv
