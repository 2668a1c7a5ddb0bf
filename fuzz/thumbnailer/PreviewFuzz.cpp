// The picture that stands for a file, of anything but movies, which are FFmpeg's.
#include "Base/Media/TiffForm.h"
#include "fuzz/OpenedBytes.h"
#include "fuzz/pictures/Dav1dLeaks.h"
#include "movies/MovieBackend.h"
#include "service/parsers/Preview.h"

#include <algorithm>
#include <cstdlib>

/// No media library in this program: it opens nothing.
mv::MovieBackend& mv::installedMovieBackend()
{
    static mv::MovieBackend none;
    return none;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    constexpr int Side = 64;
    auto record = mv::makePreview(mv::fuzz::openedBytes(data, size, "file"), Side);
    const mv::Bytes* picture = record ? record->data(mv::kPreviewPicture) : nullptr;
    if (!picture)
        return 0;
    auto pixels = mv::pixelsOfTiff(*picture);
    if (!pixels || std::max(pixels->width, pixels->height) > Side)
        std::abort();
    if (record->integer(mv::kPreviewSourceWidth).value_or(0) < pixels->width)
        std::abort();
    return 0;
}
