#pragma once

#include "client/ServiceBus.h"
#include "service/include/MVMediaTagBase.h"
#include "service/include/ServiceNames.h"
#include "service/include/WireNames.h"

namespace mv {

/// The tag updater.
class TagClient final : public MVMediaTagBaseOf<Path, const Path> {
public:
    explicit TagClient(const ServiceBus& bus)
        : m_service(bus.object(MediaTagUpdaterService, wire::MediaTagBase::Interface))
    {
    }

    std::optional<Record> podcastInfo(const Path& path) override
    {
        return m_service.ask(
            wire::MediaTagBase::podcastInfo, &WireReader::optionalRecord, [&](WireWriter& out) { out.path(path); });
    }
    bool updateTagWithDictionary(const Path& path, const Record& record) override
    {
        return m_service.ask(wire::MediaTagBase::updateTagWithDictionary, &WireReader::boolean,
            [&](WireWriter& out) { out.path(path).record(record); });
    }

private:
    RemoteObject m_service;
};

} // namespace mv
