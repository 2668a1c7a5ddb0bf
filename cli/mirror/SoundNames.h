#pragma once

#include <string>

namespace mv::cli {

/// Whether files of that name are sound, by the ending: what nothing here decodes counts as well.
bool isSoundName(const std::string& name);

} // namespace mv::cli
