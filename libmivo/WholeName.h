#pragma once

#include <string>

namespace mivo {

/// The whole path of a file that the service is asked for; raises Error::Kind::InvalidArgument where no message can
/// have it.
std::string wholeName(const std::string& path);

} // namespace mivo
