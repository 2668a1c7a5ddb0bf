// Pictures' EXIF blocks through both visitors.
#include "Base/Core/NSException.h"
#include "Base/Media/Record.h"
#include "fuzz/OpenedBytes.h"
#include "service/image/ExifExtractor.h"
#include "service/image/ExifWalk.h"
#include "service/image/UnifiedImageInfoBuider.h"

#include <cstdlib>

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    mv::OpenedFile file = mv::fuzz::openedBytes(data, size, "picture");
    auto info = mv::ExifExtractor().extractExif(file);
    auto block = mv::exifDataOf(file.content());
    if (static_cast<bool>(info) != static_cast<bool>(block))
        std::abort();
    mv::Record record;
    try {
        mv::forEachExifEntry(
            block.get(), [&](ExifEntry* entry) { mv::UnifiedImageInfoBuilder::contentForeachEntry(entry, &record); });
    } catch (const mv::NSException&) {
        // A date that is none.
    }
    return 0;
}
