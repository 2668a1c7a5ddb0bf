#include "tests/service/image/ExifMaker.h"

#include "Base/Core/ByteReader.h"
#include "tests/support/PngChunk.h"

#include <algorithm>
#include <array>
#include <cstdlib>
#include <zlib.h>

namespace mv::test {

namespace {

constexpr unsigned FormatByte = 1;
constexpr unsigned FormatAscii = 2;
constexpr unsigned FormatShort = 3;
constexpr unsigned FormatLong = 4;
constexpr unsigned FormatRational = 5;
constexpr unsigned FormatUndefined = 7;
constexpr unsigned FormatSignedRational = 10;

constexpr std::size_t TiffHeaderBytes = 8;
constexpr std::size_t InlineBytes = 4;

void segment(Bytes& jpeg, std::uint8_t marker, const Bytes& body)
{
    ByteWriter writer(jpeg);
    writer.u8(0xff);
    writer.u8(marker);
    writer.u16be(static_cast<std::uint16_t>(body.size() + 2));
    writer.bytes(body);
}

} // namespace

ExifMaker& ExifMaker::raw(Directory directory, int tag, unsigned format, unsigned components, Bytes data)
{
    m_directories[directory].push_back({ static_cast<unsigned>(tag), format, components, std::move(data) });
    return *this;
}

ExifMaker& ExifMaker::ascii(Directory directory, int tag, const std::string& text)
{
    Bytes data(text.begin(), text.end());
    data.push_back(0);
    auto count = static_cast<unsigned>(data.size());
    return raw(directory, tag, FormatAscii, count, std::move(data));
}

ExifMaker& ExifMaker::shortValue(Directory directory, int tag, unsigned value)
{
    return raw(directory, tag, FormatShort, 1, number(value, 2));
}

ExifMaker& ExifMaker::rational(Directory directory, int tag, unsigned numerator, unsigned denominator)
{
    Bytes data = number(numerator, 4);
    put(data, denominator, 4);
    return raw(directory, tag, FormatRational, 1, std::move(data));
}

ExifMaker& ExifMaker::signedRational(Directory directory, int tag, int numerator, int denominator)
{
    Bytes data = number(static_cast<std::uint32_t>(numerator), 4);
    put(data, static_cast<std::uint32_t>(denominator), 4);
    return raw(directory, tag, FormatSignedRational, 1, std::move(data));
}

ExifMaker& ExifMaker::undefined(Directory directory, int tag, const std::string& text)
{
    return raw(directory, tag, FormatUndefined, static_cast<unsigned>(text.size()), Bytes(text.begin(), text.end()));
}

ExifMaker& ExifMaker::wide(Directory directory, int tag, std::u16string_view text)
{
    Bytes data;
    ByteWriter writer(data);
    for (char16_t unit : text)
        writer.u16le(unit);
    writer.u16le(0);
    auto count = static_cast<unsigned>(data.size());
    return raw(directory, tag, FormatByte, count, std::move(data));
}

ExifMaker& ExifMaker::thumbnail(Bytes picture)
{
    m_thumbnail = std::move(picture);
    return *this;
}

void ExifMaker::put(Bytes& to, std::uint32_t value, int count) const
{
    for (int i = 0; i < count; ++i) {
        int shift = 8 * (m_order == ByteOrder::Intel ? i : count - 1 - i);
        to.push_back(static_cast<std::uint8_t>(value >> shift));
    }
}

Bytes ExifMaker::number(std::uint32_t value, int count) const
{
    Bytes data;
    put(data, value, count);
    return data;
}

std::size_t ExifMaker::sizeOf(const std::vector<Entry>& entries)
{
    std::size_t size = 2 + 12 * entries.size() + 4;
    for (const Entry& entry : entries)
        size += entry.data.size() > InlineBytes ? entry.data.size() : 0;
    return size;
}

void ExifMaker::putDirectory(Bytes& tiff, const std::vector<Entry>& entries, std::uint32_t next) const
{
    std::size_t dataAt = tiff.size() + 2 + 12 * entries.size() + 4;
    put(tiff, static_cast<std::uint32_t>(entries.size()), 2);
    for (const Entry& entry : entries) {
        put(tiff, entry.tag, 2);
        put(tiff, entry.format, 2);
        put(tiff, entry.components, 4);
        if (entry.data.size() > InlineBytes) {
            put(tiff, static_cast<std::uint32_t>(dataAt), 4);
            dataAt += entry.data.size();
        } else {
            tiff.insert(tiff.end(), entry.data.begin(), entry.data.end());
            tiff.insert(tiff.end(), InlineBytes - entry.data.size(), 0);
        }
    }
    put(tiff, next, 4);
    for (const Entry& entry : entries) {
        if (entry.data.size() > InlineBytes)
            tiff.insert(tiff.end(), entry.data.begin(), entry.data.end());
    }
}

Bytes ExifMaker::block() const
{
    constexpr unsigned ExifPointer = 0x8769;
    constexpr unsigned GpsPointer = 0x8825;
    constexpr unsigned ThumbnailOffset = 0x0201;
    constexpr unsigned ThumbnailLength = 0x0202;
    auto directories = std::to_array(m_directories);
    auto addPointer = [&](Directory where, unsigned tag, std::uint32_t value) {
        directories[where].push_back({ tag, FormatLong, 1, number(value, 4) });
    };
    // Places are known once the number of entries is; so the entries are there before their values.
    bool hasExif = !directories[ExifIfd].empty();
    bool hasGps = !directories[GpsIfd].empty();
    bool hasIfd1 = !directories[Ifd1].empty() || !m_thumbnail.empty();
    if (hasExif)
        addPointer(Ifd0, ExifPointer, 0);
    if (hasGps)
        addPointer(Ifd0, GpsPointer, 0);
    if (!m_thumbnail.empty()) {
        addPointer(Ifd1, ThumbnailOffset, 0);
        addPointer(Ifd1, ThumbnailLength, static_cast<std::uint32_t>(m_thumbnail.size()));
    }
    std::array<bool, DirectoryCount> present { true, hasIfd1, hasExif, hasGps };
    std::array<std::uint32_t, DirectoryCount + 1> at {};
    at[0] = TiffHeaderBytes;
    for (std::size_t i = 0; i < DirectoryCount; ++i)
        at[i + 1] = at[i] + static_cast<std::uint32_t>(present[i] ? sizeOf(directories[i]) : 0);
    auto setPointer = [&](Directory where, unsigned tag, std::uint32_t value) {
        for (Entry& entry : directories[where]) {
            if (entry.tag == tag)
                entry.data = number(value, 4);
        }
    };
    setPointer(Ifd0, ExifPointer, at[ExifIfd]);
    setPointer(Ifd0, GpsPointer, at[GpsIfd]);
    setPointer(Ifd1, ThumbnailOffset, at[DirectoryCount]);

    Bytes tiff;
    ByteWriter(tiff).text(m_order == ByteOrder::Intel ? "II" : "MM");
    put(tiff, 42, 2);
    put(tiff, TiffHeaderBytes, 4);
    for (std::size_t i = 0; i < DirectoryCount; ++i) {
        if (present[i])
            putDirectory(tiff, directories[i], i == Ifd0 && hasIfd1 ? at[Ifd1] : 0);
    }
    ByteWriter(tiff).bytes(m_thumbnail);
    Bytes block { 'E', 'x', 'i', 'f', 0, 0 };
    ByteWriter(block).bytes(tiff);
    return block;
}

OwnExifEntry::OwnExifEntry(ExifTag tag, ExifFormat format, std::string_view raw)
    : m_home(exif_data_new())
    , m_entry(exif_entry_new())
{
    m_entry->tag = tag;
    m_entry->format = format;
    m_entry->components = raw.size() / exif_format_get_size(format);
    m_entry->size = static_cast<unsigned>(raw.size());
    exif_content_add_entry(m_home->ifd[EXIF_IFD_EXIF], m_entry.get());
    if (raw.empty())
        return;
    // Freed by the library along with the entry.
    m_entry->data = static_cast<unsigned char*>(malloc(raw.size()));
    std::copy(raw.begin(), raw.end(), m_entry->data);
}

Bytes jpegPicture(int width, int height, const Bytes& exifBlock)
{
    auto high = [](int value) { return static_cast<std::uint8_t>(value >> 8); };
    auto low = [](int value) { return static_cast<std::uint8_t>(value & 0xff); };
    Bytes jpeg { 0xff, 0xd8 };
    if (!exifBlock.empty())
        segment(jpeg, 0xe1, exifBlock);
    Bytes quantisation(65, 1);
    quantisation[0] = 0;
    segment(jpeg, 0xdb, quantisation);
    segment(jpeg, 0xc0, { 8, high(height), low(height), high(width), low(width), 1, 1, 0x11, 0 });
    // Two codes of one bit 0: "no difference" for the first coefficient, "end of block" for the others.
    for (std::uint8_t table : { 0x00, 0x10 }) {
        Bytes body(18, 0);
        body[0] = table;
        body[1] = 1;
        segment(jpeg, 0xc4, body);
    }
    segment(jpeg, 0xda, { 1, 1, 0x00, 0, 63, 0 });
    std::size_t blocks = static_cast<std::size_t>((width + 7) / 8) * static_cast<std::size_t>((height + 7) / 8);
    jpeg.insert(jpeg.end(), (blocks * 2 + 7) / 8, 0);
    jpeg.insert(jpeg.end(), { 0xff, 0xd9 });
    return jpeg;
}

Bytes pngPicture(int width, int height, const Bytes& exifBlock)
{
    Bytes png { 0x89, 'P', 'N', 'G', '\r', '\n', 0x1a, '\n' };
    Bytes header;
    ByteWriter writer(header);
    writer.u32be(static_cast<std::uint32_t>(width));
    writer.u32be(static_cast<std::uint32_t>(height));
    writer.bytes(Bytes { 8, 0, 0, 0, 0 });
    appendPngChunk(png, "IHDR", header);
    constexpr std::size_t ExifNameBytes = 6;
    if (!exifBlock.empty())
        appendPngChunk(png, "eXIf", ByteView(exifBlock).subspan(ExifNameBytes));
    Bytes rows;
    for (int y = 0; y < height; ++y) {
        rows.push_back(0);
        rows.insert(rows.end(), static_cast<std::size_t>(width), 128);
    }
    Bytes packed(compressBound(rows.size()));
    uLongf packedSize = packed.size();
    compress(packed.data(), &packedSize, rows.data(), rows.size());
    appendPngChunk(png, "IDAT", ByteView(packed).first(packedSize));
    appendPngChunk(png, "IEND", {});
    return png;
}

} // namespace mv::test
