#pragma once

#include "Base/Media/Record.h"
#include "system/EditableFile.h"

#include <optional>

namespace mv {

/// Rewrites tags and reads podcast identifiers from them. `File` and `Target` are how what is read and what is changed
/// are named: by a client by its Path, behind the bus by what was opened.
template <class File, class Target> class MVMediaTagBaseOf {
public:
    virtual ~MVMediaTagBaseOf() = default;
    /// Strings under kMediaTagPodcastEpisodeId and kMediaTagPodcastChannelUrl, or nothing.
    virtual std::optional<Record> podcastInfo(const File& file) = 0;
    /// True when the writer did its work; see the implementations for what that promises. A client's nil path means
    /// the record's FilePath.
    virtual bool updateTagWithDictionary(Target& file, const Record& record) = 0;
};

/// What the service implements.
using MVMediaTagBase = MVMediaTagBaseOf<OpenedFile, EditableFile>;

} // namespace mv
