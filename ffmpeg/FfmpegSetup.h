#pragma once

namespace mv {

/// Settings of FFmpeg that hold for the whole process: the limit of one allocation, and a log callback that keeps
/// the libraries off standard error. Once is enough, more often does no harm.
void setUpFfmpeg();

} // namespace mv
