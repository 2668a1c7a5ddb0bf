#pragma once

#include "service/job/ReadingJob.h"

namespace mv {

/// Puts what the host itself knows of the file into a description that a worker made of it: path and name, size,
/// dates of the file system, media type. A worker that lies must not lead a client to another file.
void setHostColumns(Record& description, const ReadingJob& job);

} // namespace mv
