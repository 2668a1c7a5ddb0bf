#include "Base/Media/TiffForm.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

constexpr std::uint32_t EntryCount = 14;
constexpr std::size_t EntryBytes = 12;

enum TiffType : std::uint16_t { Short = 3, Long = 4, Rational = 5 };

struct TiffEntry {
    std::uint16_t tag;
    TiffType type;
    std::uint32_t count;
    std::uint32_t value; ///< or the place of values that need more than four bytes
};

void writeEntry(ByteWriter& writer, const TiffEntry& entry)
{
    writer.u16le(entry.tag);
    writer.u16le(entry.type);
    writer.u32le(entry.count);
    writer.u32le(entry.value); // a single Short stands in the first two bytes, as little endian has it
}

/// The entries of a directory at `directory`, whose longer values follow it.
std::array<TiffEntry, EntryCount> entriesOf(int pictureWidth, int pictureHeight, std::uint32_t directory)
{
    auto width = static_cast<std::uint32_t>(pictureWidth);
    auto height = static_cast<std::uint32_t>(pictureHeight);
    auto pixelBytes = static_cast<std::uint32_t>(directory - TiffHeaderBytes);
    std::uint32_t values = directory + 2 + EntryCount * EntryBytes + 4;
    return { {
        { 256, Long, 1, width }, // ImageWidth
        { 257, Long, 1, height }, // ImageLength
        { 258, Short, 4, values }, // BitsPerSample
        { 259, Short, 1, 1 }, // Compression: none
        { 262, Short, 1, 2 }, // PhotometricInterpretation: RGB
        { 273, Long, 1, TiffHeaderBytes }, // StripOffsets
        { 274, Short, 1, 1 }, // Orientation: top left
        { 277, Short, 1, 4 }, // SamplesPerPixel
        { 278, Long, 1, height }, // RowsPerStrip
        { 279, Long, 1, pixelBytes }, // StripByteCounts
        { 282, Rational, 1, values + 8 }, // XResolution
        { 283, Rational, 1, values + 8 }, // YResolution
        { 296, Short, 1, 2 }, // ResolutionUnit: inch
        { 338, Short, 1, 1 }, // ExtraSamples: associated alpha
    } };
}

Bytes headerOf(std::uint32_t directory)
{
    Bytes header;
    ByteWriter writer(header);
    writer.text("II");
    writer.u16le(42);
    writer.u32le(directory);
    return header;
}

void appendDirectory(Bytes& file, int width, int height, std::uint32_t place)
{
    ByteWriter writer(file);
    writer.u16le(EntryCount);
    for (const TiffEntry& entry : entriesOf(width, height, place))
        writeEntry(writer, entry);
    writer.u32le(0); // no further picture
    for (std::uint32_t i = 0; i < 4; ++i)
        writer.u16le(8); // bits of each sample
    writer.u32le(72); // pixels an inch
    writer.u32le(1);
}

/// A side as the directory's first entries have it; whether that is true is asked afterwards.
std::int64_t sideIn(ByteView directory, std::size_t entry)
{
    constexpr std::size_t CountBytes = 2;
    constexpr std::size_t ValuePlace = 8;
    return ByteReader(directory.subspan(CountBytes + entry * EntryBytes + ValuePlace)).u32le();
}

} // namespace

void finishTiff(Bytes& file, int width, int height)
{
    auto directory = static_cast<std::uint32_t>(file.size());
    Bytes header = headerOf(directory);
    std::copy(header.begin(), header.end(), file.begin());
    appendDirectory(file, width, height, directory);
}

Bytes tiffOfPixels(const TiffPixels& picture)
{
    Bytes file;
    file.reserve(TiffHeaderBytes + picture.pixels.size() + TiffDirectoryBytes);
    file.resize(TiffHeaderBytes);
    file.insert(file.end(), picture.pixels.begin(), picture.pixels.end());
    finishTiff(file, picture.width, picture.height);
    return file;
}

std::optional<TiffPixels> pixelsOfTiff(ByteView file)
{
    if (file.size() <= TiffHeaderBytes + TiffDirectoryBytes)
        return std::nullopt;
    ByteView directory = file.last(TiffDirectoryBytes);
    ByteView pixels = file.subspan(TiffHeaderBytes, file.size() - TiffHeaderBytes - TiffDirectoryBytes);
    std::int64_t width = sideIn(directory, 0);
    std::int64_t height = sideIn(directory, 1);
    if (width < 1 || height < 1 || width > MaxTiffPixels || height > MaxTiffPixels / width
        || static_cast<std::size_t>(width * height) * TiffPixelBytes != pixels.size())
        return std::nullopt;
    TiffPixels found { static_cast<int>(width), static_cast<int>(height), pixels };
    auto place = static_cast<std::uint32_t>(TiffHeaderBytes + pixels.size());
    Bytes expected;
    appendDirectory(expected, found.width, found.height, place);
    bool isOurs
        = std::ranges::equal(file.first(TiffHeaderBytes), headerOf(place)) && std::ranges::equal(directory, expected);
    return isOurs ? std::optional(found) : std::nullopt;
}

} // namespace mv
