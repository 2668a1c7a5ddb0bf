#pragma once

#include "service/include/MVImageInfoBuilder.h"

#include <libexif/exif-entry.h>

namespace mv {

/// Describes pictures. The file's name lacks an l: log lines carry it so, and readers of logs know it.
/// No state; entered on its own service's thread.
class UnifiedImageInfoBuilder final : public MVImageInfoBuilder {
public:
    /// The record of a picture, with a thumbnail of at most 100 x 100 pixels and, for names of JPEG files, a few
    /// EXIF facts; nothing when the file cannot be read as a picture.
    /// Raises NSInvalidArgumentException when an EXIF date has the right length and is no date.
    std::optional<Record> build(const OpenedFile& file) override;

    /// The thumbnail of the first representation with the pixel size of the largest one, which differ in a file of
    /// several; nothing when none can be rendered.
    std::optional<Record> makeThumbnailWithMaxSize(const OpenedFile& file, FloatSize maximum) override;

    /// Puts one EXIF entry into the record; of two entries with one tag the later wins. A missing argument is a
    /// gated log line and nothing else.
    static void contentForeachEntry(ExifEntry* entry, Record* record);
};

} // namespace mv
