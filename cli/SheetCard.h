#pragma once

#include "Base/Core/Path.h"
#include "cli/SheetPage.h"
#include "client/ServiceBus.h"

#include <optional>

namespace mv::cli {

/// What the sheet shows of a file, from its record and its picture; nothing for what the service cannot describe.
std::optional<SheetCard> sheetCardFor(ServiceBus& bus, const Path& path, const std::string& relativeName);

/// True for names of files that a sheet shows.
bool belongsOnSheet(const Path& path);

} // namespace mv::cli
