#pragma once

#include "cli/ExitStatus.h"

namespace mv::cli {

/// From here on Ctrl-C, SIGTERM and SIGHUP end the tool at once (status 130), but never between the first and the last
/// byte of a text that an UncutText covers. What the tool started for itself ends with it.
void watchInterruptions();

/// Ends the process where it stands: other threads may be waiting for what never comes.
[[noreturn]] void leaveNow(ExitStatus status);

/// While one lives the first interruption only asks, so that a job can be cancelled in order; the second one ends the
/// tool at once. One at a time.
class Interruption {
public:
    Interruption();
    ~Interruption();
    Interruption(const Interruption&) = delete;
    Interruption& operator=(const Interruption&) = delete;

    bool asked() const;
};

/// While one lives no interruption ends the tool; one that came meanwhile ends it when the last is gone.
class UncutText {
public:
    UncutText();
    ~UncutText();
    UncutText(const UncutText&) = delete;
    UncutText& operator=(const UncutText&) = delete;
};

} // namespace mv::cli
