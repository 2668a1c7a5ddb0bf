#include "cli/PictureOrientation.h"

#include "exif/PictureOrientation.h"
#include "system/InputFile.h"

namespace mv::cli {

Orientation orientationOf(const Path& path)
{
    auto file = InputFile::open(path);
    return file ? mv::orientationOf(*file) : Orientation {};
}

} // namespace mv::cli
