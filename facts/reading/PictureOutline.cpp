#include "facts/reading/PictureOutline.h"

#include "Base/Core/ByteReader.h"
#include "pictures/jpeg/JpegMarkerWalk.h"

#include <algorithm>

namespace mv {

namespace {

using namespace std::string_view_literals;

constexpr std::string_view ExifMark = "Exif\0\0"sv;

/// Behind the mark, which some writers put in front of the block where none belongs.
Bytes blockOf(ByteView bytes)
{
    if (charsOf(bytes).starts_with(ExifMark))
        bytes = bytes.subspan(ExifMark.size());
    return { bytes.begin(), bytes.end() };
}

Bytes blockAt(const ByteSource& source, std::uint64_t offset, std::uint64_t size)
{
    Bytes bytes(static_cast<std::size_t>(
        std::min<std::uint64_t>({ size, MaxExifBytes, source.size() - std::min(offset, source.size()) })));
    bytes.resize(source.readUpTo(offset, bytes));
    return blockOf(bytes);
}

void readJpegSize(ByteView frame, PictureOutline& outline)
{
    ByteReader fields(frame);
    fields.skip(1); // bits of a sample
    outline.height = fields.u16be();
    outline.width = fields.u16be();
}

PictureOutline outlineOfJpegFile(const ByteSource& source)
{
    constexpr int MaxMarkers = 10'000;
    constexpr int App1 = 0xE1;
    PictureOutline outline;
    JpegMarkerWalk walk(source);
    walk.seek(2);
    for (int count = 0; count < MaxMarkers; ++count) {
        int marker = walk.nextMarker();
        if (marker < 0 || marker == jpeg_marker::EndOfImage || marker == jpeg_marker::StartOfScan)
            break;
        if (jpeg_marker::isStandalone(marker))
            continue;
        bool isWanted = jpeg_marker::isFrame(marker) || (marker == App1 && outline.exif.empty());
        if (!isWanted) {
            std::uint64_t segment = walk.position();
            int length = walk.next16();
            if (length < 2)
                break;
            walk.seek(segment + static_cast<std::uint64_t>(length));
            continue;
        }
        auto segment = walk.segment();
        if (!segment)
            break;
        if (jpeg_marker::isFrame(marker)) {
            readJpegSize(*segment, outline);
            break; // blocks behind the frame's header are nobody's
        }
        if (charsOf(*segment).starts_with(ExifMark))
            outline.exif = blockOf(*segment);
    }
    return outline;
}

PictureOutline outlineOfPng(const ByteSource& source)
{
    constexpr int MaxChunks = 1 << 16;
    PictureOutline outline;
    std::uint64_t place = 8;
    for (int i = 0; i < MaxChunks; ++i) {
        std::uint8_t header[16];
        std::size_t got = source.readUpTo(place, header);
        if (got < 8)
            break;
        ByteReader fields(ByteView(header).first(got));
        std::uint64_t size = fields.u32be();
        std::uint32_t type = fields.u32be();
        if (type == fourCC("IHDR")) {
            outline.width = fields.u32be();
            outline.height = fields.u32be();
        } else if (type == fourCC("eXIf")) {
            outline.exif = blockAt(source, place + 8, size);
        } else if (type == fourCC("IEND")) {
            break;
        }
        place += 8 + size + 4;
    }
    return outline;
}

PictureOutline outlineOfGif(const ByteSource& source)
{
    std::uint8_t header[10];
    PictureOutline outline;
    if (source.readUpTo(0, header) != sizeof header)
        return outline;
    ByteReader fields(header);
    fields.skip(6);
    outline.width = fields.u16le();
    outline.height = fields.u16le();
    return outline;
}

PictureOutline outlineOfBmp(const ByteSource& source)
{
    constexpr std::uint32_t OldHeader = 12;
    std::uint8_t header[26];
    PictureOutline outline;
    if (source.readUpTo(0, header) != sizeof header)
        return outline;
    ByteReader fields(header);
    fields.skip(14);
    if (fields.u32le() == OldHeader) {
        outline.width = fields.u16le();
        outline.height = fields.u16le();
        return outline;
    }
    auto width = static_cast<std::int32_t>(fields.u32le());
    auto height = static_cast<std::int32_t>(fields.u32le());
    outline.width = width > 0 ? static_cast<std::uint32_t>(width) : 0;
    // Rows from the top down have a height below zero.
    outline.height = static_cast<std::uint32_t>(height < 0 ? -static_cast<std::int64_t>(height) : height);
    return outline;
}

void readWebPSize(std::uint32_t type, ByteView content, PictureOutline& outline)
{
    ByteReader fields(content);
    if (type == fourCC("VP8X")) {
        fields.skip(4);
        ByteView sizes = fields.take(6);
        if (fields.failed())
            return;
        outline.width = (sizes[0] | sizes[1] << 8 | sizes[2] << 16) + 1u;
        outline.height = (sizes[3] | sizes[4] << 8 | sizes[5] << 16) + 1u;
    } else if (type == fourCC("VP8 ")) {
        fields.skip(6); // frame tag and start code
        outline.width = fields.u16le() & 0x3FFFu;
        outline.height = fields.u16le() & 0x3FFFu;
    } else if (type == fourCC("VP8L")) {
        fields.skip(1);
        std::uint32_t bits = fields.u32le();
        outline.width = fields.failed() ? 0 : (bits & 0x3FFF) + 1;
        outline.height = fields.failed() ? 0 : (bits >> 14 & 0x3FFF) + 1;
    }
}

PictureOutline outlineOfWebP(const ByteSource& source)
{
    constexpr int MaxChunks = 10'000;
    PictureOutline outline;
    std::uint64_t place = 12;
    for (int i = 0; i < MaxChunks; ++i) {
        std::uint8_t header[8 + 10];
        std::size_t got = source.readUpTo(place, header);
        if (got < 8)
            break;
        ByteReader fields(ByteView(header).first(got));
        std::uint32_t type = fields.u32be();
        std::uint64_t size = fields.u32le();
        if (outline.width == 0)
            readWebPSize(type, fields.rest(), outline);
        if (type == fourCC("EXIF") && outline.exif.empty())
            outline.exif = blockAt(source, place + 8, size);
        place += 8 + size + size % 2;
    }
    return outline;
}

PictureOutline storedOutline(FileFamily family, const ByteSource& source)
{
    switch (family) {
    case FileFamily::Jpeg:
        return outlineOfJpegFile(source);
    case FileFamily::Png:
        return outlineOfPng(source);
    case FileFamily::Gif:
        return outlineOfGif(source);
    case FileFamily::Bmp:
        return outlineOfBmp(source);
    case FileFamily::WebP:
        return outlineOfWebP(source);
    case FileFamily::Heif:
        return outlineOfHeif(source);
    default:
        return {};
    }
}

} // namespace

PictureOutline outlineOfPicture(FileFamily family, const ByteSource& source)
{
    if (family == FileFamily::Tiff)
        return outlineOfTiff(source);
    PictureOutline outline = storedOutline(family, source);
    outline.exif = outlineOfTiff(MemorySource(outline.exif)).exif;
    return outline;
}

} // namespace mv
