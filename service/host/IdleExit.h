#pragma once

#include "application/NSApplication.h"
#include "system/Activity.h"

#include <chrono>

namespace mv {

/// Ends the application when nothing has gone on in it for so long. While it is idle one timer runs, and none while
/// something goes on. Main thread only; ends before the application and the activity do.
class IdleExit {
public:
    IdleExit(NSApplication& application, Activity& activity, std::chrono::seconds patience);

    /// True when the application was ended by this.
    bool hasCome() const { return m_hasCome; }

private:
    void check();

    NSApplication& m_application;
    Activity& m_activity;
    const std::chrono::seconds m_patience;
    bool m_hasCome = false;
};

} // namespace mv
