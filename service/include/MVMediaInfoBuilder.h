#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"

#include <optional>

namespace mv {

/// Describes media files. An implementation is entered on its own service's thread only.
class MVMediaInfoBuilder {
public:
    virtual ~MVMediaInfoBuilder() = default;
    /// The media information record of the file, or nothing where the implementation says so.
    virtual std::optional<Record> build(const Path& path) = 0;
};

} // namespace mv
