#include "service/host/adaptors/MediaInfoAdaptor.h"

#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaInfoBuilder::build, SD_BUS_ARGS("s", path), SD_BUS_RESULT("aa{sv}", record),
        (servedMethod<MediaInfoAdaptor, &MediaInfoAdaptor::build>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::MediaInfoBuilder::Interface, Members } };

} // namespace

std::span<const ServedInterface> MediaInfoAdaptor::interfaces() const { return Interfaces; }

void MediaInfoAdaptor::build(Call& call)
{
    call.reply().optionalRecord(m_root->build(OpenedFile::at(call.arguments().path())));
}

} // namespace mv
