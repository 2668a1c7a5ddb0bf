#include "pictures/PngHeader.h"

#include "Base/Core/ByteReader.h"
#include "pictures/Inflater.h"

#include <algorithm>
#include <zlib.h>

namespace mv {

namespace {

constexpr std::uint64_t SignatureBytes = 8;
// Length and type before, checksum after.
constexpr std::uint64_t ChunkFrameBytes = 12;
// Chunks whose content is wanted are far smaller; compressed profiles are the largest.
constexpr std::uint64_t MaxWantedChunkBytes = MaxProfileBytes;
// Any number of texts may stand before the pixels, but not for ever.
constexpr int MaxChunks = 10'000;

constexpr std::uint32_t Ihdr = fourCC("IHDR");
constexpr std::uint32_t Plte = fourCC("PLTE");
constexpr std::uint32_t Trns = fourCC("tRNS");
constexpr std::uint32_t Iccp = fourCC("iCCP");
constexpr std::uint32_t Idat = fourCC("IDAT");
constexpr std::uint32_t Iend = fourCC("IEND");

enum ColorType { Gray = 0, Color = 2, Palette = 3, GrayAlpha = 4, ColorAlpha = 6 };

bool isCritical(std::uint32_t type) { return !(type & 0x20000000); }

bool depthFits(int type, int depth)
{
    switch (type) {
    case Gray:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8 || depth == 16;
    case Palette:
        return depth == 1 || depth == 2 || depth == 4 || depth == 8;
    case Color:
    case GrayAlpha:
    case ColorAlpha:
        return depth == 8 || depth == 16;
    default:
        return false;
    }
}

Result<void> readIhdr(ByteView chunk, PngHeader& header)
{
    ByteReader reader(chunk);
    std::uint32_t width = reader.u32be();
    std::uint32_t height = reader.u32be();
    header.depth = reader.u8();
    int type = reader.u8();
    int compression = reader.u8();
    int filter = reader.u8();
    int interlace = reader.u8();
    if (reader.failed() || compression != 0 || filter != 0 || interlace > 1 || !depthFits(type, header.depth))
        return Error { Error::Kind::Format, "a PNG header that makes no sense" };
    MV_TRY_VOID(checkPictureSize(width, height));
    header.picture.width = static_cast<int>(width);
    header.picture.height = static_cast<int>(height);
    header.interlaced = interlace == 1;
    header.palette = type == Palette;
    header.samples = type == Gray || type == Palette ? 1 : type == GrayAlpha ? 2 : type == Color ? 3 : 4;
    header.picture.model = type == Gray ? PixelModel::Gray
        : type == GrayAlpha             ? PixelModel::GrayAlpha
        : type == ColorAlpha            ? PixelModel::RgbAlpha
                                        : PixelModel::Rgb;
    return {};
}

void readPlte(ByteView chunk, PngHeader& header)
{
    std::size_t count = std::min<std::size_t>(chunk.size() / 3, header.colors.size());
    for (std::size_t i = 0; i < count; ++i)
        std::copy_n(&chunk[i * 3], 3, header.colors[i].begin());
}

void readTrns(ByteView chunk, PngHeader& header)
{
    PixelModel& model = header.picture.model;
    if (header.palette) {
        for (std::size_t i = 0; i < std::min(chunk.size(), header.colors.size()); ++i)
            header.colors[i][3] = chunk[i];
        model = PixelModel::RgbAlpha;
        return;
    }
    if (hasAlpha(model))
        return;
    ByteReader reader(chunk);
    for (int i = 0; i < header.samples; ++i)
        header.transparent[static_cast<std::size_t>(i)] = reader.u16be();
    if (reader.failed())
        return;
    header.hasTransparent = true;
    model = model == PixelModel::Gray ? PixelModel::GrayAlpha : PixelModel::RgbAlpha;
}

/// A name, a zero, the compression method 0, then the compressed profile.
void readIccp(ByteView chunk, PngHeader& header)
{
    auto zero = std::find(chunk.begin(), chunk.end(), 0);
    std::size_t start = static_cast<std::size_t>(zero - chunk.begin()) + 2;
    if (start < chunk.size() && chunk[start - 1] == 0)
        header.picture.profile = inflateWhole(chunk.subspan(start), MaxProfileBytes);
}

bool isWanted(std::uint32_t type) { return type == Ihdr || type == Plte || type == Trns || type == Iccp; }

bool checksumFits(ByteView typeAndContent, std::uint32_t checksum)
{
    return crc32(0, typeAndContent.data(), static_cast<uInt>(typeAndContent.size())) == checksum;
}

/// `typeAndContent` starts with the 4 bytes of the type.
Result<void> readChunk(std::uint32_t type, ByteView typeAndContent, PngHeader& header)
{
    ByteView content = typeAndContent.subspan(4);
    switch (type) {
    case Ihdr:
        return readIhdr(content, header);
    case Plte:
        readPlte(content, header);
        break;
    case Trns:
        readTrns(content, header);
        break;
    default:
        readIccp(content, header);
        break;
    }
    return {};
}

} // namespace

Result<PngHeader> readPngHeader(const ByteSource& source)
{
    PngHeader header;
    header.colors.fill({ 0, 0, 0, 255 });
    std::uint64_t offset = SignatureBytes;
    for (int count = 0; count < MaxChunks; ++count) {
        MV_TRY(start, source.bytesAt(offset, 8));
        ByteReader reader(start);
        std::uint64_t length = reader.u32be();
        std::uint32_t type = reader.u32be();
        if ((count == 0) != (type == Ihdr) || type == Iend)
            return Error { Error::Kind::Format, "a PNG without its first parts" };
        if (type == Idat) {
            header.dataOffset = offset;
            return header;
        }
        if (isWanted(type) && length <= MaxWantedChunkBytes) {
            MV_TRY(chunk, source.bytesAt(offset + 4, length + 8));
            ByteReader tail(ByteView(chunk).subspan(static_cast<std::size_t>(length) + 4));
            ByteView body = ByteView(chunk).first(static_cast<std::size_t>(length) + 4);
            if (checksumFits(body, tail.u32be()))
                MV_TRY_VOID(readChunk(type, body, header));
            else if (isCritical(type))
                return Error { Error::Kind::Format, "a PNG with a damaged header" };
        }
        offset += length + ChunkFrameBytes;
    }
    return Error { Error::Kind::Limit, "a PNG without pixels" };
}

} // namespace mv
