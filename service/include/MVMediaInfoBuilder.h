#pragma once

#include "Base/Media/Record.h"
#include "system/OpenedFile.h"

#include <optional>

namespace mv {

/// Describes media files. `File` is how a file is named: by a client by its Path, behind the bus by the file itself.
/// An implementation is entered on its own service's thread only.
template <class File> class MVMediaInfoBuilderOf {
public:
    virtual ~MVMediaInfoBuilderOf() = default;
    /// The media information record of the file, or nothing where the implementation says so.
    virtual std::optional<Record> build(const File& file) = 0;
};

/// What a service implements.
using MVMediaInfoBuilder = MVMediaInfoBuilderOf<OpenedFile>;

} // namespace mv
