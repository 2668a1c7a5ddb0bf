#pragma once

#include "Base/Media/Record.h"
#include "service/include/PictureRendering.h"

namespace mv {

/// A rendering in a message that is a record.
void setRendering(Record& message, const PictureRendering& rendering);
/// The same rendering; what the message lacks is as by default.
PictureRendering renderingOf(const Record& message);

} // namespace mv
