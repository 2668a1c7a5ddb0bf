#pragma once

#include "Base/Core/Path.h"
#include "cli/SheetPage.h"
#include "client/ServiceBus.h"

namespace mv::cli {

/// What the sheet shows of a file, from its record and its picture; fails for what the service cannot describe.
/// Pictures are upright, unless they are to be shown `asStored`.
Result<SheetCard> sheetCardFor(
    ServiceBus& bus, const Path& path, const std::string& relativeName, bool asStored = false);

/// True for names of files that a sheet shows.
bool belongsOnSheet(const Path& path);

} // namespace mv::cli
