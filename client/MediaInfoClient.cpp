#include "client/MediaInfoClient.h"

#include "client/ServiceNames.h"

namespace mv {

Result<std::optional<Record>> MediaInfoClient::build(const Path& path)
{
    std::optional<Record> record;
    MV_TRY_VOID(m_bus.call(
        { m_service, "MVMediaInfoBuilder", "build" }, [&](WireWriter& to) { to.string(path.text()); },
        [&](WireReader& from) { record = from.optionalRecord(); }));
    return record;
}

Result<std::optional<Record>> describeFile(ServiceBus& bus, const Path& path)
{
    return MediaInfoClient(bus, describingService(path)).build(path);
}

} // namespace mv
