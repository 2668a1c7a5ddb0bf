#pragma once

#include "Base/Core/DebugLog.h"
#include "Base/Core/NSException.h"
#include "Base/Core/NSLog.h"

namespace mv {

/// Logs "*** Assertion failure in FUNCTION, FILE:LINE" and raises NSInternalInconsistencyException with the text.
[[noreturn]] inline void failAssertion(std::string_view file, const char* function, int line, const char* text)
{
    NSLog("*** Assertion failure in %s, %.*s:%d", function, static_cast<int>(file.size()), file.data(), line);
    throw NSException(NSInternalInconsistencyException, text);
}

} // namespace mv

/// MV_ASSERT(condition, "-[Class operation:]", text): always checked, and reported against this place in the source.
#define MV_ASSERT(condition, function, text)                                                                           \
    do {                                                                                                               \
        if (!(condition))                                                                                              \
            ::mv::failAssertion(::mv::sourceFileName(__FILE__), function, __LINE__, text);                             \
    } while (false)
