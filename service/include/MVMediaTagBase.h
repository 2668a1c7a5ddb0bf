#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"

#include <optional>

namespace mv {

/// Rewrites tags and reads podcast identifiers from them.
class MVMediaTagBase {
public:
    virtual ~MVMediaTagBase() = default;
    /// Strings under kMediaTagPodcastEpisodeId and kMediaTagPodcastChannelUrl, or nothing.
    virtual std::optional<Record> podcastInfo(const Path& path) = 0;
    /// True when the writer did its work; see the implementations for what that promises. A nil path means the
    /// record's FilePath.
    virtual bool updateTagWithDictionary(const Path& path, const Record& record) = 0;
};

} // namespace mv
