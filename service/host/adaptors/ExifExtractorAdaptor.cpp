#include "service/host/adaptors/ExifExtractorAdaptor.h"

#include "service/host/adaptors/ExifInfoAdaptor.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::ExifExtractorBase::extractExif, SD_BUS_ARGS("s", path), SD_BUS_RESULT("o", info),
        (servedMethod<ExifExtractorAdaptor, &ExifExtractorAdaptor::extractExif>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface Interfaces[] = { { wire::ExifExtractorBase::Interface, Members } };

} // namespace

std::span<const ServedInterface> ExifExtractorAdaptor::interfaces() const { return Interfaces; }

void ExifExtractorAdaptor::extractExif(Call& call)
{
    std::shared_ptr<MVExifInfo> info = m_root->extractExif(OpenedFile::at(call.arguments().path()));
    std::string object = "/";
    if (info) {
        const std::string client = call.sender();
        object = call.host().serveForClient(std::make_unique<ExifInfoAdaptor>(std::move(info), client), client);
    }
    call.reply().objectPath(object);
}

} // namespace mv
