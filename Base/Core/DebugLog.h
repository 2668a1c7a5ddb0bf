#pragma once

#include "Base/Core/Text.h"

#include <string_view>

namespace mv {

/// Levels of gated lines: a line is written when the level of the property list is at least the line's own.
inline constexpr int DebugLevelError = 3;
inline constexpr int DebugLevelParameters = 6;

/// The integer "DEBUG_LEVEL" of the main bundle's resource "DEBUG" of type "plist" (XML or binary), read anew at
/// every call; 0 when the file, the dictionary or the key is missing.
int currentDebugLevel();
/// From now on the level is this, whatever a property list says: for a process that can read none.
void setDebugLevel(int level);

/// Deliberately 0 whatever the property list says: it is there to be called, and the gate does not use it.
inline int GET_MV_DEBUG_LEVEL() { return 0; }

/// Writes "[file:function-(line)] message" through NSLog when the gate is open at `level`.
void writeDebugLog(int level, std::string_view file, std::string_view function, int line, std::string_view message);

/// The last path component of a source file's path, for __FILE__.
constexpr std::string_view sourceFileName(std::string_view path)
{
    auto slash = path.rfind('/');
    return slash == std::string_view::npos ? path : path.substr(slash + 1);
}

} // namespace mv

/// MV_DEBUG_LOG(level, "+[MVMediaTypeReader type:]", format, ...): a gated line of this place in the source.
#define MV_DEBUG_LOG(level, function, ...)                                                                             \
    ::mv::writeDebugLog(level, ::mv::sourceFileName(__FILE__), function, __LINE__, ::mv::formatText(__VA_ARGS__))
