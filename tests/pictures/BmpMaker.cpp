#include "tests/pictures/BmpMaker.h"

#include "Base/Core/ByteReader.h"

namespace mv::test {

Bytes makeBmp(const BmpWish& wish)
{
    Bytes header;
    ByteWriter fields(header);
    fields.u32le(static_cast<std::uint32_t>(wish.headerBytes));
    if (wish.headerBytes == 12) {
        fields.u16le(static_cast<std::uint16_t>(wish.width));
        fields.u16le(static_cast<std::uint16_t>(wish.height));
    } else {
        fields.u32le(static_cast<std::uint32_t>(wish.width));
        fields.u32le(static_cast<std::uint32_t>(wish.height));
    }
    fields.u16le(1);
    fields.u16le(static_cast<std::uint16_t>(wish.depth));
    fields.u32le(static_cast<std::uint32_t>(wish.compression));
    header.resize(40);
    for (std::uint32_t mask : wish.masks)
        fields.u32le(mask);
    header.resize(static_cast<std::size_t>(wish.headerBytes));

    Bytes file;
    ByteWriter writer(file);
    writer.text("BM");
    writer.zeros(8);
    writer.u32le(static_cast<std::uint32_t>(14 + header.size() + wish.extra.size()));
    writer.bytes(header);
    writer.bytes(wish.extra);
    writer.bytes(wish.pixels);
    return file;
}

} // namespace mv::test
