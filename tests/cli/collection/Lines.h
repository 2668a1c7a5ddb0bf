#pragma once

#include "cli/collection/IndexLine.h"

namespace mv::cli {

/// The line of a file that is as it is now, with its end.
inline std::string lineOf(const std::string& path)
{
    auto stamp = FileStamp::of(path);
    return indexLine(DescribedFile(path, {}), stamp ? *stamp : FileStamp()) + "\n";
}

} // namespace mv::cli
