#include "pictures/HeifItems.h"

#include "mp4/Box.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::uint64_t MaxTableBytes = std::uint64_t { 1 } << 20;
constexpr std::size_t MaxItems = 4096;
constexpr std::size_t MaxAssociations = 16; // one for each of the table's four forms would do

/// Bytes of a number whose size the table states so.
constexpr std::size_t stored(unsigned size) { return size == 8 || size == 4 ? size : 0; }

std::uint64_t sized(ByteReader& fields, unsigned size)
{
    return size == 8 ? fields.u64be() : size == 4 ? fields.u32be() : 0;
}

/// What is done to a decoded item, as far as it can be compared between items of different sizes.
struct Turning {
    std::uint32_t type = 0;
    int amount = 0;

    bool operator==(const Turning&) const = default;
};

std::vector<Turning> turningsIn(const std::vector<const HeifItems::Property*>& properties)
{
    std::vector<Turning> turnings;
    for (const HeifItems::Property* property : properties) {
        int first = property->content.empty() ? 0 : property->content.front();
        if (property->type == fourCC("irot") && (first & 3) != 0)
            turnings.push_back({ property->type, first & 3 });
        else if (property->type == fourCC("imir"))
            turnings.push_back({ property->type, first & 1 });
        else if (property->type == fourCC("clap"))
            turnings.push_back({ property->type, 0 });
    }
    return turnings;
}

} // namespace

class HeifItemsReader {
public:
    explicit HeifItemsReader(const ByteSource& source)
        : m_reader(StructureReader::borrowing(source))
    {
    }

    std::optional<HeifItems> items()
    {
        constexpr std::uint64_t VersionSize = 4;
        BoxWalker top(m_reader, 0, m_reader.size());
        while (auto box = top.next()) {
            if (box->type != fourCC("meta"))
                continue;
            BoxWalker children(m_reader, box->payloadOffset() + VersionSize, box->end());
            while (auto child = children.next())
                readChild(*child);
            return std::move(m_items);
        }
        return std::nullopt;
    }

private:
    Bytes contentOf(const Box& box)
    {
        auto bytes = m_reader.copy(box.payloadOffset(), std::min(box.payloadSize(), MaxTableBytes));
        return bytes ? std::move(*bytes) : Bytes {};
    }

    void readChild(const Box& box)
    {
        if (box.type == fourCC("pitm"))
            readPrimary(contentOf(box));
        else if (box.type == fourCC("iinf"))
            readItems(box);
        else if (box.type == fourCC("iloc"))
            m_items.m_locations = contentOf(box);
        else if (box.type == fourCC("idat"))
            m_items.m_data = { box.payloadOffset(), box.payloadSize() };
        else if (box.type == fourCC("iprp"))
            readProperties(box);
    }

    void readPrimary(const Bytes& content)
    {
        ByteReader fields(content);
        std::uint8_t version = fields.u8();
        fields.skip(3);
        m_items.m_primary = version == 0 ? fields.u16be() : fields.u32be();
    }

    void readItems(const Box& box)
    {
        ByteReader head(payloadStart(m_reader, box, 4));
        std::uint64_t countSize = head.u8() == 0 ? 2 : 4;
        BoxWalker walker(m_reader, box.payloadOffset() + 4 + countSize, box.end());
        for (std::size_t i = 0; i < MaxItems; ++i) {
            auto entry = walker.next();
            if (!entry)
                break;
            ByteReader fields(payloadStart(m_reader, *entry, 16));
            std::uint8_t version = fields.u8();
            fields.skip(3);
            std::uint32_t id = version >= 3 ? fields.u32be() : fields.u16be();
            fields.skip(2); // protection
            if (version >= 2 && fields.u32be() == fourCC("Exif") && !m_items.m_exif)
                m_items.m_exif = id;
        }
    }

    void readProperties(const Box& box)
    {
        BoxWalker walker(m_reader, box);
        while (auto child = walker.next()) {
            if (child->type == fourCC("ipma") && m_items.m_associations.size() < MaxAssociations)
                m_items.m_associations.push_back(contentOf(*child));
            if (child->type != fourCC("ipco"))
                continue;
            BoxWalker properties(m_reader, *child);
            while (m_items.m_properties.size() < MaxItems) {
                auto property = properties.next();
                if (!property)
                    break;
                ByteView start = payloadStart(m_reader, *property, 16);
                m_items.m_properties.push_back({ property->type, Bytes(start.begin(), start.end()) });
            }
        }
    }

    StructureReader m_reader;
    HeifItems m_items;
};

std::optional<HeifItems> HeifItems::read(const ByteSource& source) { return HeifItemsReader(source).items(); }

std::vector<const HeifItems::Property*> HeifItems::propertiesOf(std::uint32_t item) const
{
    std::vector<const Property*> found;
    for (const Bytes& content : m_associations) {
        ByteReader fields(content);
        std::uint8_t version = fields.u8();
        bool isWide = fields.u24be() & 1;
        std::uint32_t items = fields.u32be();
        for (std::uint32_t i = 0; i < items && !fields.failed(); ++i) {
            std::uint32_t id = version == 0 ? fields.u16be() : fields.u32be();
            for (std::uint8_t count = fields.u8(); count > 0 && !fields.failed(); --count) {
                std::size_t index = isWide ? fields.u16be() & 0x7FFFu : fields.u8() & 0x7Fu;
                if (id == item && index >= 1 && index <= m_properties.size())
                    found.push_back(&m_properties[index - 1]);
            }
        }
    }
    return found;
}

bool HeifItems::areTurnedAlike(std::uint32_t one, std::uint32_t other) const
{
    return turningsIn(propertiesOf(one)) == turningsIn(propertiesOf(other));
}

std::optional<HeifItems::Place> HeifItems::locate(std::uint32_t item) const
{
    ByteReader fields(m_locations);
    std::uint8_t version = fields.u8();
    fields.skip(3);
    std::uint8_t sizes = fields.u8();
    std::uint8_t more = fields.u8();
    const unsigned offsetSize = sizes >> 4;
    const unsigned lengthSize = sizes & 15u;
    const unsigned baseSize = more >> 4;
    const unsigned indexSize = version > 0 ? more & 15u : 0;
    std::uint32_t count = version < 2 ? fields.u16be() : fields.u32be();
    for (std::uint32_t i = 0; i < count && !fields.failed(); ++i) {
        std::uint32_t id = version < 2 ? fields.u16be() : fields.u32be();
        std::uint16_t method = version > 0 ? fields.u16be() & 15 : 0;
        fields.skip(2); // of this file
        std::uint64_t base = sized(fields, baseSize);
        std::uint16_t extents = fields.u16be();
        if (id != item || extents == 0 || method > 1) {
            fields.skip(std::size_t { extents } * (stored(indexSize) + stored(offsetSize) + stored(lengthSize)));
            continue;
        }
        sized(fields, indexSize);
        std::uint64_t offset = sized(fields, offsetSize);
        std::uint64_t size = sized(fields, lengthSize);
        std::uint64_t start = 0;
        if (fields.failed() || __builtin_add_overflow(base, offset, &start)
            || __builtin_add_overflow(start, method == 1 ? m_data.offset : 0, &start))
            return std::nullopt;
        return Place { start, size };
    }
    return std::nullopt;
}

Bytes HeifItems::firstPieceOf(std::uint32_t item, const ByteSource& source, std::uint64_t most) const
{
    auto place = locate(item);
    if (!place || place->size > most)
        return {};
    auto bytes = source.bytesAt(place->offset, place->size);
    return bytes ? std::move(*bytes) : Bytes {};
}

} // namespace mv
