#pragma once

namespace mv {

/// True when, as far as can be seen, a message bus or systemd started this process because somebody called one of its
/// names; who starts it by hand knows why, and wants to hear that another serves already. A bus's child whose name has
/// come to be served meanwhile is nobody's child any more: the files for buses say it on the command line.
bool wasStartedOnDemand();

} // namespace mv
