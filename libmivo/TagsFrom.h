#pragma once

#include "client/MediaRequests.h"

#include <memory>
#include <mivo/Record.h>

namespace mivo {

/// Changes of tags as they are sent.
struct TagsToSend {
    mv::MediaTags tags;
    std::shared_ptr<mv::UniqueFd> cover; ///< what is borrowed there
};

/// Raises Error::Kind::InvalidArgument for what is no tag or not of its kind.
TagsToSend tagsFrom(const Record& changes);

} // namespace mivo
