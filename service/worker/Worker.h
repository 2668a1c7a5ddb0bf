#pragma once

#include "process/Channel.h"

namespace mv {

/// Does jobs that come over the channel, one after the other, until the other side closes it. The process is closed
/// already. Lines of the log become messages. An error is a message that no host sends.
Result<void> serveJobs(Channel& channel);

} // namespace mv
