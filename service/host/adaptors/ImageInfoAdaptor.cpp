#include "service/host/adaptors/ImageInfoAdaptor.h"

#include "service/host/adaptors/PathArgument.h"
#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable kMediaInfoMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::MediaInfoBuilder::build, SD_BUS_ARGS("s", path), SD_BUS_RESULT("aa{sv}", record),
        (servedMethod<ImageInfoAdaptor, &ImageInfoAdaptor::build>), 0),
    SD_BUS_VTABLE_END,
};

constexpr sd_bus_vtable kImageInfoMembers[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::ImageInfoBuilder::makeThumbnailWithMaxSize, SD_BUS_ARGS("s", path, "(dd)", maximum),
        SD_BUS_RESULT("aa{sv}", thumbnail),
        (servedMethod<ImageInfoAdaptor, &ImageInfoAdaptor::makeThumbnailWithMaxSize>), 0),
    SD_BUS_VTABLE_END,
};

constexpr ServedInterface kInterfaces[] = {
    { wire::MediaInfoBuilder::Interface, kMediaInfoMembers },
    { wire::ImageInfoBuilder::Interface, kImageInfoMembers },
};

} // namespace

std::span<const ServedInterface> ImageInfoAdaptor::interfaces() const { return kInterfaces; }

void ImageInfoAdaptor::build(Call& call)
{
    Path path = pathFromWire(call.arguments().string());
    call.reply().optionalRecord(m_root->build(path));
}

void ImageInfoAdaptor::makeThumbnailWithMaxSize(Call& call)
{
    Path path = pathFromWire(call.arguments().string());
    auto [width, height] = call.arguments().realPair();
    FloatSize maximum { static_cast<float>(width), static_cast<float>(height) };
    call.reply().optionalRecord(m_root->makeThumbnailWithMaxSize(path, maximum));
}

} // namespace mv
