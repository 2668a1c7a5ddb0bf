#include "exif/PictureOrientation.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <optional>

namespace mv {

namespace {

// What a file may make us look at. Photos have some ten segments or chunks in front of their pixels; PNG files may have
// their Exif data behind thousands of chunks of pixels.
constexpr int MaxParts = 1 << 16;
constexpr std::uint64_t MaxDirectoryEntries = 4096;

constexpr std::uint16_t OrientationTag = 0x0112;
constexpr std::size_t EntrySize = 12;
constexpr std::string_view ExifMark { "Exif\0\0", 6 };

/// Part of a file.
struct Stretch {
    std::uint64_t offset = 0;
    std::uint64_t length = 0;
};

/// The bytes of a file by their place in a stretch; nothing beyond its end.
class Window {
public:
    Window(const ByteSource& file, Stretch stretch)
        : m_file(file)
        , m_stretch(stretch)
    {
    }

    std::optional<Bytes> bytes(std::uint64_t offset, std::size_t count) const
    {
        if (offset > m_stretch.length || count > m_stretch.length - offset)
            return std::nullopt;
        auto read = m_file.bytesAt(m_stretch.offset + offset, count);
        return read ? std::optional(std::move(*read)) : std::nullopt;
    }
    bool hasAt(std::uint64_t offset, std::string_view text) const
    {
        auto found = bytes(offset, text.size());
        return found && charsOf(*found) == text;
    }

private:
    const ByteSource& m_file;
    Stretch m_stretch;
};

Window wholeFile(const ByteSource& file) { return { file, { 0, file.size() } }; }

/// Big-endian or little-endian, as a TIFF structure says.
std::uint32_t number(ByteView bytes, bool bigEndian)
{
    std::uint32_t value = 0;
    for (std::size_t i = 0; i < bytes.size(); ++i)
        value = value << 8 | bytes[bigEndian ? i : bytes.size() - 1 - i];
    return value;
}

/// The tag in the first directory of a TIFF structure; 0 where it is not.
int orientationInTiff(const Window& tiff)
{
    constexpr std::size_t HeaderSize = 8;
    auto header = tiff.bytes(0, HeaderSize);
    if (!header)
        return 0;
    bool bigEndian = charsOf(*header).starts_with("MM");
    auto numberAt = [&](ByteView bytes, std::size_t at, std::size_t count) {
        return number(bytes.subspan(at, count), bigEndian);
    };
    if ((!bigEndian && !charsOf(*header).starts_with("II")) || numberAt(*header, 2, 2) != 42)
        return 0;
    std::uint64_t directory = numberAt(*header, 4, 4);
    auto count = tiff.bytes(directory, 2);
    std::uint64_t entries = count ? std::min<std::uint64_t>(numberAt(*count, 0, 2), MaxDirectoryEntries) : 0;
    for (std::uint64_t i = 0; i < entries; ++i) {
        auto entry = tiff.bytes(directory + 2 + i * EntrySize, EntrySize);
        if (!entry)
            return 0;
        if (numberAt(*entry, 0, 2) != OrientationTag)
            continue;
        // A 16-bit number as a rule; some programs write one of 32 bits.
        constexpr std::uint32_t Long = 4;
        return static_cast<int>(numberAt(*entry, 8, numberAt(*entry, 2, 2) == Long ? 4 : 2) & 0xffff);
    }
    return 0;
}

/// Exif data as stored in segments and chunks, with its mark in front or without.
int orientationInExif(const ByteSource& file, Stretch exif)
{
    if (Window(file, exif).hasAt(0, ExifMark))
        exif = { exif.offset + ExifMark.size(), exif.length - ExifMark.size() };
    return orientationInTiff(Window(file, exif));
}

int orientationInJpeg(const ByteSource& file)
{
    constexpr std::uint8_t Filler = 0xff;
    constexpr std::uint8_t App1 = 0xe1;
    constexpr std::uint8_t StartOfScan = 0xda;
    Window all = wholeFile(file);
    std::uint64_t offset = 2;
    for (int i = 0; i < MaxParts; ++i) {
        auto marker = all.bytes(offset, 2);
        if (!marker || (*marker)[0] != Filler || (*marker)[1] == StartOfScan)
            return 0;
        if ((*marker)[1] == Filler) {
            ++offset;
            continue;
        }
        auto size = all.bytes(offset + 2, 2);
        std::uint64_t length = size ? number(*size, true) : 0;
        if (length < 2)
            return 0;
        Stretch content { offset + 4, length - 2 };
        if ((*marker)[1] == App1 && Window(file, content).hasAt(0, ExifMark))
            return orientationInExif(file, content);
        offset += 2 + length;
    }
    return 0;
}

/// Chunks of RIFF have their name first and sizes in little-endian order, those of PNG the other way round and a
/// checksum behind them.
struct ChunkForm {
    std::uint64_t first;
    std::string_view exif;
    bool isPng;
};

int orientationInChunks(const ByteSource& file, const ChunkForm& form)
{
    constexpr std::uint64_t HeaderSize = 8;
    constexpr std::uint64_t ChecksumSize = 4;
    Window all = wholeFile(file);
    std::uint64_t offset = form.first;
    for (int i = 0; i < MaxParts; ++i) {
        auto header = all.bytes(offset, HeaderSize);
        if (!header)
            return 0;
        ByteView bytes(*header);
        std::uint64_t length = number(bytes.subspan(form.isPng ? 0 : 4, 4), form.isPng);
        std::string_view name = charsOf(bytes.subspan(form.isPng ? 4 : 0, 4));
        if (name == form.exif)
            return orientationInExif(file, { offset + HeaderSize, length });
        offset += HeaderSize + length + (form.isPng ? ChecksumSize : length % 2);
    }
    return 0;
}

int orientationTag(const ByteSource& file)
{
    Window all = wholeFile(file);
    if (all.hasAt(0, "\xff\xd8"))
        return orientationInJpeg(file);
    if (all.hasAt(0, "\x89PNG\r\n\x1a\n"))
        return orientationInChunks(file, { 8, "eXIf", true });
    if (all.hasAt(0, "RIFF") && all.hasAt(8, "WEBP"))
        return orientationInChunks(file, { 12, "EXIF", false });
    return orientationInTiff(all);
}

} // namespace

Orientation orientationOf(const ByteSource& file) { return Orientation::fromTag(orientationTag(file)); }

} // namespace mv
