#pragma once

#include "service/include/MVExifExtractorBase.h"

#include <mivo/Record.h>

namespace mivo {

/// The facts that a picture has, under the names of the service's properties.
Record exifRecord(const mv::MVExifInfo& info);

} // namespace mivo
