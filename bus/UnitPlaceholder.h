#pragma once

#include "Base/Core/Handle.h"

#include <optional>
#include <sys/types.h>

namespace mv {

/// Stands for this process in the systemd unit that it is the main process of, so that the unit can end, and be started
/// again, while this process finishes its work in a scope of its own. The unit ends with this object, once systemd has
/// been told of the placeholder and that it stops.
class UnitPlaceholder {
public:
    /// Makes a placeholder, and moves this process and those that it has started into a scope. Nothing where that
    /// cannot be: then all is as before.
    static std::optional<UnitPlaceholder> takeOurPlace();

    pid_t processId() const { return m_processId; }

private:
    UnitPlaceholder(pid_t processId, UniqueFd life)
        : m_processId(processId)
        , m_life(std::move(life))
    {
    }

    pid_t m_processId;
    UniqueFd m_life; // the placeholder ends when this is closed
};

} // namespace mv
