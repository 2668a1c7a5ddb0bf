// Pictures' EXIF blocks through both visitors, by way of a real file.
#include "Base/Core/Handle.h"
#include "Base/Core/NSException.h"
#include "Base/Media/Record.h"
#include "service/image/ExifExtractor.h"
#include "service/image/ExifWalk.h"
#include "service/image/UnifiedImageInfoBuider.h"

#include <cstdlib>
#include <sys/mman.h>
#include <unistd.h>

namespace {

/// A file in memory that is opened by its path like any other.
mv::Path memoryFile(const std::uint8_t* data, std::size_t size)
{
    static const mv::UniqueFd s_file(memfd_create("picture", MFD_CLOEXEC));
    if (ftruncate(s_file.get(), 0) != 0 || pwrite(s_file.get(), data, size, 0) != static_cast<ssize_t>(size))
        std::abort();
    return "/proc/self/fd/" + std::to_string(s_file.get());
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    auto file = mv::OpenedFile::at(memoryFile(data, size));
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
