#pragma once

#include <string_view>

namespace mv {

/// The media type that the ending of the name stands for, as in types.list; empty where no thumbnail is made of such
/// files. Case of the ending does not count.
std::string_view thumbnailTypeOf(std::string_view name);

} // namespace mv
