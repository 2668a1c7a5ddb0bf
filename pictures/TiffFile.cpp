#include "pictures/TiffFile.h"

#include <cstdarg>
#include <cstdio>

namespace mv {

namespace {

using OpenOptions = std::unique_ptr<TIFFOpenOptions, CloseWith<TIFFOpenOptionsFree>>;

int ignoreMessage(TIFF*, void*, const char*, const char*, va_list) { return 1; }

} // namespace

Result<std::unique_ptr<TiffFile>> TiffFile::open(const ByteSource& source)
{
    std::unique_ptr<TiffFile> file(new TiffFile(source));
    OpenOptions options(TIFFOpenOptionsAlloc());
    TIFFOpenOptionsSetMaxSingleMemAlloc(options.get(), MaxTiffAllocation);
    TIFFOpenOptionsSetErrorHandlerExtR(options.get(), ignoreMessage, nullptr);
    TIFFOpenOptionsSetWarningHandlerExtR(options.get(), ignoreMessage, nullptr);
    // "m": never map. Writing is refused by answering that nothing was written.
    file->m_tiff.reset(TIFFClientOpenExt(
        "picture", "rm", file.get(), read, [](thandle_t, void*, tmsize_t) -> tmsize_t { return 0; }, seek,
        [](thandle_t) { return 0; }, size, [](thandle_t, void**, toff_t*) { return 0; },
        [](thandle_t, void*, toff_t) {}, options.get()));
    if (!file->m_tiff)
        return Error { Error::Kind::Format, "a TIFF that cannot be opened" };
    return file;
}

tmsize_t TiffFile::read(thandle_t self, void* target, tmsize_t count)
{
    auto& file = *static_cast<TiffFile*>(self);
    std::size_t got = file.m_source.readUpTo(
        file.m_position, { static_cast<std::uint8_t*>(target), static_cast<std::size_t>(count) });
    file.m_position += got;
    return static_cast<tmsize_t>(got);
}

toff_t TiffFile::seek(thandle_t self, toff_t offset, int origin)
{
    auto& file = *static_cast<TiffFile*>(self);
    // Offsets are unsigned, so a step back comes as a very large number and wraps as it should.
    if (origin == SEEK_CUR)
        offset += file.m_position;
    else if (origin == SEEK_END)
        offset += file.m_source.size();
    file.m_position = offset;
    return offset;
}

toff_t TiffFile::size(thandle_t self) { return static_cast<TiffFile*>(self)->m_source.size(); }

} // namespace mv
