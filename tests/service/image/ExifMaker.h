#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Handle.h"

#include <libexif/exif-data.h>
#include <string>
#include <vector>

namespace mv::test {

enum class ByteOrder { Intel, Motorola };

/// Builds EXIF blocks entry by entry, in either byte order, so that a test says itself what its picture claims.
class ExifMaker {
public:
    enum Directory { Ifd0, Ifd1, ExifIfd, GpsIfd, DirectoryCount };

    explicit ExifMaker(ByteOrder order = ByteOrder::Intel)
        : m_order(order)
    {
    }

    /// Zero-terminated text (format 2).
    ExifMaker& ascii(Directory directory, int tag, const std::string& text);
    ExifMaker& shortValue(Directory directory, int tag, unsigned value);
    ExifMaker& rational(Directory directory, int tag, unsigned numerator, unsigned denominator);
    ExifMaker& signedRational(Directory directory, int tag, int numerator, int denominator);
    /// Format 7.
    ExifMaker& undefined(Directory directory, int tag, const std::string& raw);
    /// Format 1 holding UTF-16, least significant byte first in both byte orders, with a final zero.
    ExifMaker& wide(Directory directory, int tag, std::u16string_view text);
    /// Any format, bytes as they are.
    ExifMaker& raw(Directory directory, int tag, unsigned format, unsigned components, Bytes data);

    /// A thumbnail of the second directory.
    ExifMaker& thumbnail(Bytes picture);

    /// "Exif", two zeros and the block, as a JPEG's segment holds it.
    Bytes block() const;

private:
    struct Entry {
        unsigned tag;
        unsigned format;
        unsigned components;
        Bytes data;
    };

    void put(Bytes& to, std::uint32_t value, int count) const;
    Bytes number(std::uint32_t value, int count) const;
    void putDirectory(Bytes& tiff, const std::vector<Entry>& entries, std::uint32_t next) const;
    static std::size_t sizeOf(const std::vector<Entry>& entries);

    ByteOrder m_order;
    std::vector<Entry> m_directories[DirectoryCount];
    Bytes m_thumbnail;
};

/// An entry of a test's own, to be shown to a visitor directly.
class OwnExifEntry {
public:
    /// The bytes are those of `raw`; none at all when it is empty.
    OwnExifEntry(ExifTag tag, ExifFormat format, std::string_view raw);
    ExifEntry* get() const { return m_entry.get(); }

private:
    // The library gives texts only of entries that belong somewhere.
    std::unique_ptr<ExifData, CloseWith<exif_data_unref>> m_home;
    std::unique_ptr<ExifEntry, CloseWith<exif_entry_unref>> m_entry;
};

/// A gray baseline JPEG of that size, with the EXIF block (of ExifMaker::block) in front where it is not empty.
Bytes jpegPicture(int width, int height, const Bytes& exifBlock = {});
/// A gray PNG of that size, with the EXIF block in an eXIf chunk where it is not empty.
Bytes pngPicture(int width, int height, const Bytes& exifBlock = {});

} // namespace mv::test
