#include "service/host/adaptors/ImageInfoAdaptor.h"

#include "service/include/WireNames.h"

namespace mv {

namespace {

constexpr sd_bus_vtable Members[] = {
    SD_BUS_VTABLE_START(0),
    SD_BUS_METHOD_WITH_ARGS(wire::ImageInfoBuilder::makeThumbnailWithMaxSize, SD_BUS_ARGS("s", path, "(dd)", maximum),
        SD_BUS_RESULT("aa{sv}", thumbnail),
        (servedMethod<ImageInfoAdaptor, &ImageInfoAdaptor::makeThumbnailWithMaxSize>), 0),
    SD_BUS_VTABLE_END,
};

} // namespace

std::span<const ServedInterface> ImageInfoAdaptor::interfaces() const
{
    static const ServedInterface Interfaces[] {
        MediaInfoAdaptor::interfaces().front(),
        { wire::ImageInfoBuilder::Interface, Members },
    };
    return Interfaces;
}

void ImageInfoAdaptor::makeThumbnailWithMaxSize(Call& call)
{
    WireReader& arguments = call.arguments();
    Path path = arguments.path();
    auto [width, height] = arguments.realPair();
    FloatSize maximum { static_cast<float>(width), static_cast<float>(height) };
    // The constructor takes no other.
    auto& images = static_cast<MVImageInfoBuilder&>(*m_root);
    call.reply().optionalRecord(images.makeThumbnailWithMaxSize(OpenedFile::at(path), maximum));
}

} // namespace mv
