#pragma once

#include "service/include/MVMediaInfoBuilder.h"
#include "system/EditableFile.h"

#include <cstdio>

namespace mv {

/// The root object of the MP4 parser service: describes MPEG-4 files by their iTunes-style metadata and their first
/// sound track. Holds nothing; entered on its service's thread.
class MP4Parser final : public MVMediaInfoBuilder {
public:
    /// The record, or nothing (after the log line "MP4Parser file open fail") for what cannot be opened or is no
    /// MPEG-4 file. PlayLength and Samplerate are floating-point numbers here, unlike other parsers'; Samplerate is
    /// the track's time scale.
    std::optional<Record> build(const OpenedFile& file) override;

    /// Prints every tag field that the file has to `out`, one a line, for people. 0, or 1 (after "MP4Modify failed")
    /// when the file cannot be opened for modification; it is not changed.
    int testMp4v2(const EditableFile& file, std::FILE* out = stdout);
};

} // namespace mv
