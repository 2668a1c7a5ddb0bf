#pragma once

#include "Base/Core/Handle.h"
#include "system/ByteSource.h"

#include <memory>
#include <tiffio.h>

namespace mv {

/// libtiff may take this much at once: a strip of a 64-megapixel picture.
inline constexpr tmsize_t MaxTiffAllocation = tmsize_t { 256 } << 20;

/// libtiff over a picture's source. Says nothing on standard error. Must not outlive the source.
class TiffFile {
public:
    static Result<std::unique_ptr<TiffFile>> open(const ByteSource& source);
    TIFF* get() const { return m_tiff.get(); }

private:
    explicit TiffFile(const ByteSource& source)
        : m_source(source)
    {
    }

    static tmsize_t read(thandle_t self, void* target, tmsize_t count);
    static toff_t seek(thandle_t self, toff_t offset, int origin);
    static toff_t size(thandle_t self);

    const ByteSource& m_source;
    std::uint64_t m_position = 0;
    std::unique_ptr<TIFF, CloseWith<TIFFClose>> m_tiff; // last: closing it still calls back
};

} // namespace mv
