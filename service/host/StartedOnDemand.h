#pragma once

namespace mv {

/// True when a message bus or systemd started this process because somebody called one of its names; who starts it by
/// hand knows why, and wants to hear that another serves already.
bool wasStartedOnDemand();

} // namespace mv
