#pragma once

#include "bus/UnitPlaceholder.h"

#include <chrono>

namespace mv {

/// What systemd is told of a service of Type=notify. Where it did not start this process nothing is told and nothing
/// waits.
class ServiceManager {
public:
    /// True when systemd started this very process as a service that tells it these things; what a parent of ours was
    /// given and we inherited does not count.
    static bool startedThisProcess();

    /// Everything is there.
    static void tellReady();
    /// This process is about to leave. Returns when systemd knows: a start that is asked for from now on is put off
    /// until the process, or its placeholder, has ended, instead of being taken for done.
    /// Where that may take longer than the unit allows, it is to be given so long.
    static void tellStopping(const UnitPlaceholder* placeholder = nullptr, std::chrono::seconds longest = {});
};

} // namespace mv
