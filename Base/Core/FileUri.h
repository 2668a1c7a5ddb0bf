#pragma once

#include "Base/Core/Result.h"

#include <string>
#include <string_view>

namespace mv {

/// The URI of a whole path, byte by byte as GLib writes it: the names of thumbnails are made of that text, so that one
/// escape more or less is another file. Any bytes but zero may be in the path.
std::string fileUri(std::string_view path);

/// The path of a file: URI, of this computer; Format for another URI and for bad escapes.
Result<std::string> pathOfFileUri(std::string_view uri);

/// Whether the text begins as a file: URI does, whatever the case.
bool isFileUri(std::string_view text);

} // namespace mv
