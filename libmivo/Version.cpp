#include <mivo/Version.h>

namespace mivo {

const char* version() noexcept { return MIVO_VERSION; }

} // namespace mivo
