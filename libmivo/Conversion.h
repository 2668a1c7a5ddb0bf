#pragma once

#include "Base/Core/Error.h"
#include "Base/Media/Record.h"
#include "client/MediaRequests.h"
#include "facts/Facts.h"

#include <mivo/Error.h>
#include <mivo/Record.h>
#include <optional>

namespace mivo {

Record recordFrom(const mv::Record& record);
std::optional<Record> recordFrom(const std::optional<mv::Record>& record);
mv::Record recordFrom(const Record& record);
Record recordFrom(const mv::Facts& facts);

/// What a failed call of the service is to a user of the library.
Error errorFrom(const mv::Error& error);

} // namespace mivo
