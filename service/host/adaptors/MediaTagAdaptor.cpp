#include "service/host/adaptors/MediaTagAdaptor.h"

#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable kMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaTagBase::podcastInfo, SD_BUS_ARGS("s", path), SD_BUS_RESULT("aa{sv}", info),
        (servedMethod<MediaTagAdaptor, &MediaTagAdaptor::podcastInfo>), 0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaTagBase::updateTagWithDictionary, SD_BUS_ARGS("s", path, "a{sv}", record),
        SD_BUS_RESULT("b", updated), (servedMethod<MediaTagAdaptor, &MediaTagAdaptor::updateTagWithDictionary>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface kInterfaces[] = { { wire::MediaTagBase::Interface, kMembers } };

} // namespace

std::span<const ServedInterface> MediaTagAdaptor::interfaces() const { return kInterfaces; }

void MediaTagAdaptor::podcastInfo(Call& call)
{
    Path path = call.arguments().path();
    call.reply().optionalRecord(m_root->podcastInfo(path));
}

void MediaTagAdaptor::updateTagWithDictionary(Call& call)
{
    Path path = call.arguments().path();
    Record record = call.arguments().record();
    call.reply().boolean(m_root->updateTagWithDictionary(path, record));
}

} // namespace mv
