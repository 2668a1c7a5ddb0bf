#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"

#include <cstdint>

namespace mv {

// The columns that every describing service sets the same way.

/// FilePath as the caller passed it, FileName its last component, IsManaged NO.
void setPathColumns(Record& record, const Path& path);

/// MediaType and its name as FileTypeString.
void setMediaTypeColumns(Record& record, std::int32_t mediaType);

/// PlayCount, Rating and AlbumRating 0, DateAdded now.
void setNewMusicColumns(Record& record);

} // namespace mv
