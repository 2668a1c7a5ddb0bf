#pragma once

#include "Base/Core/Path.h"
#include "Base/Media/Record.h"
#include "client/ServiceBus.h"

#include <optional>

namespace mv {

/// Asks the tag updater.
class TagClient {
public:
    explicit TagClient(ServiceBus& bus)
        : m_bus(bus)
    {
    }

    struct PodcastInfo {
        std::optional<std::string> episodeId;
        std::optional<std::string> channelUrl;
    };

    Result<std::optional<PodcastInfo>> podcastInfo(const Path& path);
    /// What the writers make of a record's keys differs: see the services' own description. False when no writer
    /// takes the record's media type or the file.
    Result<bool> updateTag(const Path& path, const Record& record);

private:
    ServiceBus& m_bus;
};

} // namespace mv
