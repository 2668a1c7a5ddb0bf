#include "pictures/BmpHeader.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <limits>

namespace mv {

namespace {

constexpr std::uint64_t FileHeaderBytes = 14;
// Sizes of the headers that have to be told apart; others count as the next smaller one of them.
constexpr std::uint32_t CoreHeaderBytes = 12; // OS/2 1
constexpr std::uint32_t MinOs2Bytes = 16; // OS/2 2 cut short after the depth
constexpr std::uint32_t InfoHeaderBytes = 40;
constexpr std::uint32_t MasksHeaderBytes = 52;
constexpr std::uint32_t AlphaMaskHeaderBytes = 56;
constexpr std::uint32_t Os2HeaderBytes = 64;
constexpr std::uint32_t V5HeaderBytes = 124;
// Far above every real one.
constexpr std::uint32_t MaxHeaderBytes = 1024;

enum Compression : std::uint32_t { BiRgb = 0, BiRle8 = 1, BiRle4 = 2, BiBitfields = 3, BiAlphaBitfields = 6 };

constexpr std::array<std::uint32_t, 4> Masks555 { 0x7C00, 0x03E0, 0x001F, 0 };
// The fourth byte of plain 32-bit pixels is not alpha: writers leave anything there.
constexpr std::array<std::uint32_t, 4> Masks888 { 0xFF0000, 0x00FF00, 0x0000FF, 0 };

Error damaged() { return { Error::Kind::Format, "a BMP header that makes no sense" }; }

/// The parts of the header that steer the reading of the rest.
struct Plan {
    std::uint32_t headerBytes = 0;
    std::uint32_t compression = BiRgb;
    std::uint32_t colorsUsed = 0;
};

Result<void> readSize(ByteReader& reader, Plan& plan, BmpHeader& header)
{
    std::int64_t width = 0;
    std::int64_t height = 0;
    if (plan.headerBytes == CoreHeaderBytes) {
        width = reader.u16le();
        height = reader.u16le();
    } else {
        width = static_cast<std::int32_t>(reader.u32le());
        height = static_cast<std::int32_t>(reader.u32le());
    }
    header.topDown = height < 0;
    height = height < 0 ? -height : height;
    if (width < 0)
        return damaged();
    MV_TRY_VOID(checkPictureSize(static_cast<std::uint64_t>(width), static_cast<std::uint64_t>(height)));
    header.picture.width = static_cast<int>(width);
    header.picture.height = static_cast<int>(height);
    reader.skip(2); // planes
    header.depth = reader.u16le();
    return {};
}

Result<void> readCoding(const Plan& plan, BmpHeader& header)
{
    int depth = header.depth;
    bool palette = depth == 1 || depth == 2 || depth == 4 || depth == 8;
    bool masked = depth == 16 || depth == 32;
    if (!palette && !masked && depth != 24)
        return damaged();
    switch (plan.compression) {
    case BiRgb:
        break;
    case BiRle8:
        header.coding = BmpCoding::Rle8;
        break;
    case BiRle4:
        header.coding = BmpCoding::Rle4;
        break;
    case BiBitfields:
    case BiAlphaBitfields:
        if (!masked || plan.headerBytes == Os2HeaderBytes)
            return Error { Error::Kind::Unsupported, "a BMP of a coding that is not taken" };
        break;
    default:
        return Error { Error::Kind::Unsupported, "a BMP of a coding that is not taken" };
    }
    if ((header.coding == BmpCoding::Rle8 && depth != 8) || (header.coding == BmpCoding::Rle4 && depth != 4))
        return damaged();
    return {};
}

bool hasMasks(const Plan& plan) { return plan.compression == BiBitfields || plan.compression == BiAlphaBitfields; }

/// How many bytes of masks stand behind the header; longer headers hold them themselves.
std::uint64_t maskBytesAfter(const Plan& plan)
{
    if (!hasMasks(plan) || plan.headerBytes >= MasksHeaderBytes)
        return 0;
    return plan.compression == BiAlphaBitfields ? 16 : 12;
}

Result<void> readMasks(const ByteSource& source, const Plan& plan, BmpHeader& header)
{
    header.masks = header.depth == 16 ? Masks555 : Masks888;
    if (!hasMasks(plan))
        return {};
    bool alpha = plan.compression == BiAlphaBitfields || plan.headerBytes >= AlphaMaskHeaderBytes;
    MV_TRY(bytes, source.bytesAt(FileHeaderBytes + InfoHeaderBytes, alpha ? 16 : 12));
    ByteReader reader(bytes);
    for (int i = 0; i < 3; ++i)
        header.masks[static_cast<std::size_t>(i)] = reader.u32le();
    header.masks[3] = alpha ? reader.u32le() : 0;
    if (header.masks[3] != 0)
        header.picture.model = PixelModel::RgbAlpha;
    return {};
}

/// The palette stands between the header and the pixels and has three bytes a colour in the oldest files, else four.
void readColors(const ByteSource& source, const Plan& plan, std::uint64_t offset, BmpHeader& header)
{
    if (header.depth > 8)
        return;
    std::size_t entry = plan.headerBytes == CoreHeaderBytes ? 3 : 4;
    std::size_t all = std::size_t { 1 } << header.depth;
    std::size_t count = plan.colorsUsed == 0 ? all : std::min<std::size_t>(plan.colorsUsed, all);
    Bytes table(count * entry);
    std::uint64_t room = header.dataOffset > offset ? header.dataOffset - offset : table.size();
    std::size_t got = source.readUpTo(
        offset, { table.data(), static_cast<std::size_t>(std::min<std::uint64_t>(table.size(), room)) });
    for (std::size_t i = 0; i < got / entry; ++i) {
        const std::uint8_t* color = &table[i * entry];
        header.colors[i] = { color[2], color[1], color[0] };
    }
}

/// The last header may name a profile anywhere behind it.
void readProfile(const ByteSource& source, const Plan& plan, BmpHeader& header)
{
    constexpr std::uint64_t ColorSpacePlace = FileHeaderBytes + 56;
    constexpr std::uint64_t ProfilePlace = FileHeaderBytes + 112;
    if (plan.headerBytes < V5HeaderBytes)
        return;
    auto space = source.bytesAt(ColorSpacePlace, 4);
    auto place = source.bytesAt(ProfilePlace, 8);
    if (!space || !place || ByteReader(*space).u32le() != fourCC("MBED"))
        return;
    ByteReader reader(*place);
    std::uint64_t offset = FileHeaderBytes + reader.u32le();
    std::uint64_t size = reader.u32le();
    if (size > MaxProfileBytes)
        return;
    if (auto profile = source.bytesAt(offset, size))
        header.picture.profile = std::move(*profile);
}

} // namespace

Result<BmpHeader> readBmpHeader(const ByteSource& source)
{
    Bytes start(FileHeaderBytes + InfoHeaderBytes);
    start.resize(source.readUpTo(0, start));
    ByteReader reader(start);
    BmpHeader header;
    Plan plan;
    reader.skip(10);
    header.dataOffset = reader.u32le();
    plan.headerBytes = reader.u32le();
    if (plan.headerBytes != CoreHeaderBytes && (plan.headerBytes < MinOs2Bytes || plan.headerBytes > MaxHeaderBytes))
        return damaged();
    MV_TRY_VOID(readSize(reader, plan, header));
    if (reader.failed())
        return damaged();
    // What a short OS/2 header leaves out is zero, whatever stands behind it.
    if (plan.headerBytes >= 20)
        plan.compression = reader.u32le();
    if (plan.headerBytes >= 36) {
        reader.skip(12); // size of the pixels, resolution
        plan.colorsUsed = reader.u32le();
    }
    MV_TRY_VOID(readCoding(plan, header));
    MV_TRY_VOID(readMasks(source, plan, header));
    std::uint64_t behindHeader = FileHeaderBytes + plan.headerBytes + maskBytesAfter(plan);
    if (header.dataOffset == 0)
        header.dataOffset = behindHeader;
    readColors(source, plan, behindHeader, header);
    readProfile(source, plan, header);
    return header;
}

} // namespace mv
