#pragma once

#include "service/include/MVMediaTagBase.h"

namespace mv {

/// Changes the iTunes-style metadata of MPEG-4 files and reads the two podcast items. No state: safe on several
/// threads, and two updates of one file take turns.
class UpdateMP4Tag final : public MVMediaTagBase {
public:
    /// Both texts, or nothing, with a log line, when one is missing or not between 1 and 1,999 bytes of UTF-8.
    std::optional<Record> podcastInfo(const OpenedFile& file) override;

    /// True when the file could be opened for modification; whether the tags could be stored then only the log says,
    /// and a file whose tags could not is as it was. Fields that the record does not have stay, but the cover:
    /// a record without one deletes it, and one that is too large for the format's readers is left
    /// out, with a log line. Raises NSInvalidArgumentException for values of a wrong kind.
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override;
};

} // namespace mv
