#include "Base/Core/ByteReader.h"
#include "facts/reading/PictureOutline.h"

#include <algorithm>
#include <array>
#include <optional>
#include <vector>

namespace mv {

namespace {

constexpr std::uint16_t WidthTag = 0x0100;
constexpr std::uint16_t HeightTag = 0x0101;
constexpr std::uint16_t ExifTag = 0x8769;
constexpr std::uint16_t GpsTag = 0x8825;
constexpr std::uint16_t LongType = 4;

/// What is taken over of the first directory; of the camera's and the place's directories everything small is.
constexpr std::array<std::uint16_t, 7> MainTags { WidthTag, HeightTag, 0x010F, 0x0110, 0x0112, 0x0132, 0xFDEA };
constexpr std::size_t MaxValueBytes = 2048;
constexpr std::uint64_t MaxEntries = 1024;
constexpr std::size_t MaxKept = 128;

/// An entry of a directory with its value, in the file's byte order.
struct Entry {
    std::uint16_t tag = 0;
    std::uint16_t type = 0;
    std::uint32_t count = 0;
    Bytes value;
};

std::size_t sizeOfType(std::uint16_t type)
{
    constexpr std::array<std::size_t, 19> Sizes { 0, 1, 1, 2, 4, 8, 1, 1, 2, 4, 8, 4, 8, 4, 0, 0, 8, 8, 8 };
    return type < Sizes.size() ? Sizes[type] : 0;
}

/// Reads directories of a TIFF file, of the kind with addresses of 64 bits too.
class Directories {
public:
    explicit Directories(const ByteSource& source)
        : m_source(source)
    {
    }

    /// The place of the first directory, or nothing.
    std::optional<std::uint64_t> open()
    {
        std::uint8_t header[16];
        std::size_t got = m_source.readUpTo(0, header);
        m_isBig = header[0] == 'M';
        m_isWide = (m_isBig ? header[3] : header[2]) == '+';
        if (got < (m_isWide ? 16u : 8u))
            return std::nullopt;
        return m_isWide ? number(ByteView(header).subspan(8, 8)) : number(ByteView(header).subspan(4, 4));
    }

    bool isBigEndian() const { return m_isBig; }

    std::uint64_t number(ByteView bytes) const
    {
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes.size(); ++i)
            value = value << 8 | (m_isBig ? bytes[i] : bytes[bytes.size() - 1 - i]);
        return value;
    }

    template <class Wanted> std::vector<Entry> read(std::uint64_t place, Wanted isWanted) const
    {
        std::vector<Entry> entries;
        std::size_t countSize = m_isWide ? 8 : 2;
        std::size_t entrySize = m_isWide ? 20 : 12;
        std::array<std::uint8_t, 8> head {};
        if (m_source.readUpTo(place, std::span(head).first(countSize)) != countSize)
            return entries;
        std::uint64_t count = std::min(number(ByteView(head).first(countSize)), MaxEntries);
        Bytes table(static_cast<std::size_t>(count) * entrySize);
        table.resize(m_source.readUpTo(place + countSize, table) / entrySize * entrySize);
        for (std::size_t at = 0; at < table.size() && entries.size() < MaxKept; at += entrySize) {
            ByteView row = ByteView(table).subspan(at, entrySize);
            if (isWanted(static_cast<std::uint16_t>(number(row.first(2)))))
                take(row, entries);
        }
        return entries;
    }

private:
    void take(ByteView row, std::vector<Entry>& entries) const
    {
        std::size_t fieldSize = m_isWide ? 8 : 4;
        Entry entry { static_cast<std::uint16_t>(number(row.first(2))),
            static_cast<std::uint16_t>(number(row.subspan(2, 2))) };
        std::uint64_t count = number(row.subspan(4, fieldSize));
        std::uint64_t size = sizeOfType(entry.type);
        if (size == 0 || count == 0 || count > MaxValueBytes / size)
            return;
        entry.count = static_cast<std::uint32_t>(count);
        size *= count;
        ByteView field = row.subspan(4 + fieldSize, fieldSize);
        if (size <= fieldSize) {
            entry.value.assign(field.begin(), field.begin() + static_cast<std::ptrdiff_t>(size));
        } else {
            auto bytes = m_source.bytesAt(number(field), size);
            if (!bytes)
                return;
            entry.value = std::move(*bytes);
        }
        entries.push_back(std::move(entry));
    }

    const ByteSource& m_source;
    bool m_isBig = false;
    bool m_isWide = false;
};

/// Directories as a small file of their own.
class BlockWriter {
public:
    explicit BlockWriter(bool isBig)
        : m_isBig(isBig)
    {
        put(isBig ? 0x4D4D : 0x4949, 2);
        put(42, 2);
        put(8, 4);
    }

    /// Appends a directory; its place.
    std::uint32_t add(const std::vector<Entry>& entries)
    {
        auto place = static_cast<std::uint32_t>(m_bytes.size());
        auto values = static_cast<std::uint32_t>(place + 2 + entries.size() * 12 + 4);
        Bytes behind;
        put(static_cast<std::uint32_t>(entries.size()), 2);
        for (const Entry& entry : entries) {
            put(entry.tag, 2);
            put(entry.type, 2);
            put(entry.count, 4);
            if (entry.value.size() <= 4) {
                m_bytes.insert(m_bytes.end(), entry.value.begin(), entry.value.end());
                m_bytes.resize(m_bytes.size() + 4 - entry.value.size());
            } else {
                put(values + static_cast<std::uint32_t>(behind.size()), 4);
                behind.insert(behind.end(), entry.value.begin(), entry.value.end());
                behind.resize(behind.size() + behind.size() % 2);
            }
        }
        put(0, 4); // no further directory
        m_bytes.insert(m_bytes.end(), behind.begin(), behind.end());
        return place;
    }

    /// The entry that points to a directory.
    Entry pointer(std::uint16_t tag, std::uint32_t place) const
    {
        Entry entry { tag, LongType, 1, Bytes(4) };
        for (std::size_t i = 0; i < 4; ++i)
            entry.value[m_isBig ? 3 - i : i] = static_cast<std::uint8_t>(place >> (8 * i));
        return entry;
    }

    std::size_t sizeOf(const std::vector<Entry>& entries) const
    {
        std::size_t size = 2 + entries.size() * 12 + 4;
        for (const Entry& entry : entries)
            size += entry.value.size() > 4 ? entry.value.size() + entry.value.size() % 2 : 0;
        return size;
    }

    Bytes take() { return std::move(m_bytes); }

private:
    void put(std::uint32_t value, int size)
    {
        for (int i = 0; i < size; ++i)
            m_bytes.push_back(static_cast<std::uint8_t>(value >> 8 * (m_isBig ? size - 1 - i : i)));
    }

    bool m_isBig;
    Bytes m_bytes;
};

const Entry* find(const std::vector<Entry>& entries, std::uint16_t tag)
{
    auto place = std::find_if(entries.begin(), entries.end(), [&](const Entry& entry) { return entry.tag == tag; });
    return place == entries.end() ? nullptr : &*place;
}

std::uint32_t numberOf(const Directories& file, const std::vector<Entry>& entries, std::uint16_t tag)
{
    const Entry* entry = find(entries, tag);
    if (!entry)
        return 0;
    std::uint64_t value = file.number(ByteView(entry->value).first(sizeOfType(entry->type)));
    return value <= UINT32_MAX ? static_cast<std::uint32_t>(value) : 0;
}

std::vector<Entry> subdirectory(const Directories& file, const std::vector<Entry>& main, std::uint16_t tag)
{
    const Entry* pointer = find(main, tag);
    if (!pointer)
        return {};
    std::uint64_t place = file.number(pointer->value);
    constexpr std::uint16_t MakerNoteTag = 0x927C;
    return file.read(place, [](std::uint16_t each) { return each != MakerNoteTag; });
}

/// What the block is to hold: the pointers come last in the first directory, and then what they point to.
Bytes blockOf(const Directories& file, std::vector<Entry> main)
{
    std::vector<Entry> camera = subdirectory(file, main, ExifTag);
    std::vector<Entry> place = subdirectory(file, main, GpsTag);
    std::erase_if(main, [](const Entry& entry) { return entry.tag == ExifTag || entry.tag == GpsTag; });
    BlockWriter writer(file.isBigEndian());
    auto pointers = static_cast<std::size_t>(!camera.empty()) + static_cast<std::size_t>(!place.empty());
    constexpr std::size_t HeaderSize = 8;
    auto next = static_cast<std::uint32_t>(HeaderSize + writer.sizeOf(main) + pointers * 12);
    if (!place.empty()) {
        auto at = static_cast<std::uint32_t>(next + (camera.empty() ? 0 : writer.sizeOf(camera)));
        main.push_back(writer.pointer(GpsTag, at));
    }
    if (!camera.empty())
        main.push_back(writer.pointer(ExifTag, next));
    writer.add(main);
    if (!camera.empty())
        writer.add(camera);
    if (!place.empty())
        writer.add(place);
    return writer.take();
}

} // namespace

PictureOutline outlineOfTiff(const ByteSource& source)
{
    PictureOutline outline;
    Directories file(source);
    auto first = file.open();
    if (!first)
        return outline;
    std::vector<Entry> main = file.read(*first, [](std::uint16_t tag) {
        return tag == ExifTag || tag == GpsTag || std::find(MainTags.begin(), MainTags.end(), tag) != MainTags.end();
    });
    outline.width = numberOf(file, main, WidthTag);
    outline.height = numberOf(file, main, HeightTag);
    if (!main.empty())
        outline.exif = blockOf(file, std::move(main));
    return outline;
}

} // namespace mv
