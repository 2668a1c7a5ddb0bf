#pragma once

#include "service/job/ReadingJob.h"

namespace mv {

/// Whether a record that nobody vouches for is one that the operation gives: keys that it sets, each with a value of
/// its kind, pictures of the form of TiffForm.h. Answers without a record are fine as they are. Format otherwise.
Result<void> checkAnswer(ReadingOperation operation, const ReadingAnswer& answer);

} // namespace mv
