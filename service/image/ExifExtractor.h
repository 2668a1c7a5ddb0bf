#pragma once

#include "service/include/MVExifExtractorBase.h"

#include <libexif/exif-entry.h>

namespace mv {

/// Reads the camera and exposure facts of a picture. Takes every file that libexif can read, whatever its name.
/// No state; every call makes a record of its own.
class ExifExtractor final : public MVExifExtractorBase {
public:
    /// Null when the file has no readable EXIF block. A block without entries gives an empty record.
    std::shared_ptr<MVExifInfo> extractExif(const OpenedFile& file) override;

    /// Puts one entry into its field; an entry without a field is ignored, and of two entries with one tag the later
    /// wins. A missing argument is a gated log line and nothing else.
    static void contentForeachEntry(ExifEntry* entry, MVExifInfo* info);
};

} // namespace mv
