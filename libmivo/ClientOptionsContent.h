#pragma once

#include <mivo/Client.h>

namespace mivo {

class ClientOptionsContent {
public:
    bool startsService = true;
    std::string serviceProgram; ///< empty: to be looked for
};

} // namespace mivo
