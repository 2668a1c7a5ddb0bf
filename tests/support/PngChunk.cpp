#include "tests/support/PngChunk.h"

#include "Base/Core/ByteReader.h"

#include <zlib.h>

namespace mv::test {

void appendPngChunk(Bytes& png, std::string_view name, ByteView content)
{
    ByteWriter writer(png);
    writer.u32be(static_cast<std::uint32_t>(content.size()));
    std::size_t start = png.size();
    writer.text(name);
    writer.bytes(content);
    writer.u32be(static_cast<std::uint32_t>(crc32(0, &png[start], static_cast<uInt>(png.size() - start))));
}

} // namespace mv::test
