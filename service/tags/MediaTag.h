#pragma once

#include "service/include/MVMediaTagBase.h"

namespace mv {

/// The tag updater service: picks the writer for a file, forwards the call and returns the writer's answer. A fresh
/// writer for every call; no state.
///
/// Deliberate: the two operations choose by different evidence. Reading goes by the path's extension, writing by the
/// media type that the record carries, whatever the file is called.
class MediaTag final : public MVMediaTagBase {
public:
    std::optional<Record> podcastInfo(const OpenedFile& file) override;
    /// False, the file untouched, for every media type but MP3 and M4A.
    bool updateTagWithDictionary(EditableFile& file, const Record& record) override;
};

} // namespace mv
