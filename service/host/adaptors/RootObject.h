#pragma once

#include "Base/Core/Path.h"
#include "platform/ipc/BusError.h"

#include <memory>
#include <string>

namespace mv {

/// The object behind an adaptor; answers NotSupported while there is none.
template <class Interface> Interface& requireRoot(const std::unique_ptr<Interface>& root)
{
    if (!root)
        throw BusError(BusErrorNotSupported, "this service is not available yet");
    return *root;
}

/// An empty string on the bus is a nil path.
inline Path pathFromWire(std::string text) { return text.empty() ? Path() : Path(std::move(text)); }

} // namespace mv
