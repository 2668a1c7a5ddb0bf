#pragma once

#include <string>

namespace mivo {

/// The service's program that was installed with this library, or else the one on the PATH; empty where there is none.
std::string installedServiceProgram();

} // namespace mivo
