#include "Base/Media/Orientation.h"
#include "facts/reading/PictureOutline.h"
#include "mp4/Box.h"

#include <algorithm>
#include <optional>
#include <vector>

namespace mv {

namespace {

constexpr std::uint64_t MaxTableBytes = std::uint64_t { 1 } << 20;
constexpr std::size_t MaxItems = 4096;

struct Place {
    std::uint64_t offset = 0;
    std::uint64_t size = 0;
};

/// A property of an item: its box, in the file's order.
struct Property {
    std::uint32_t type = 0;
    Bytes content;
};

/// What the meta box says of the items of a file.
class ItemReader {
public:
    explicit ItemReader(const ByteSource& source)
        : m_reader(StructureReader::borrowing(source))
    {
    }

    PictureOutline outline()
    {
        PictureOutline outline;
        if (!readMeta())
            return outline;
        for (const Property* property : propertiesOfPrimary())
            apply(*property, outline);
        outline.exif = exifBlock();
        return outline;
    }

private:
    Bytes contentOf(const Box& box)
    {
        auto bytes = m_reader.copy(box.payloadOffset(), std::min(box.payloadSize(), MaxTableBytes));
        return bytes ? std::move(*bytes) : Bytes {};
    }

    bool readMeta()
    {
        constexpr std::uint64_t VersionSize = 4;
        BoxWalker top(m_reader, 0, m_reader.size());
        while (auto box = top.next()) {
            if (box->type != fourCC("meta"))
                continue;
            BoxWalker children(m_reader, box->payloadOffset() + VersionSize, box->end());
            while (auto child = children.next())
                readChild(*child);
            return true;
        }
        return false;
    }

    void readChild(const Box& box)
    {
        if (box.type == fourCC("pitm"))
            readPrimary(contentOf(box));
        else if (box.type == fourCC("iinf"))
            readItems(box);
        else if (box.type == fourCC("iloc"))
            m_locations = contentOf(box);
        else if (box.type == fourCC("idat"))
            m_data = Place { box.payloadOffset(), box.payloadSize() };
        else if (box.type == fourCC("iprp"))
            readProperties(box);
    }

    void readPrimary(const Bytes& content)
    {
        ByteReader fields(content);
        std::uint8_t version = fields.u8();
        fields.skip(3);
        m_primary = version == 0 ? fields.u16be() : fields.u32be();
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
            if (version >= 2 && fields.u32be() == fourCC("Exif") && !m_exifItem)
                m_exifItem = id;
        }
    }

    void readProperties(const Box& box)
    {
        BoxWalker walker(m_reader, box);
        while (auto child = walker.next()) {
            if (child->type == fourCC("ipma"))
                m_associations.push_back(contentOf(*child));
            if (child->type != fourCC("ipco"))
                continue;
            BoxWalker properties(m_reader, *child);
            for (std::size_t i = 0; i < MaxItems; ++i) {
                auto property = properties.next();
                if (!property)
                    break;
                ByteView start = payloadStart(m_reader, *property, 16);
                m_properties.push_back({ property->type, Bytes(start.begin(), start.end()) });
            }
        }
    }

    /// In the order in which they are to be applied.
    std::vector<const Property*> propertiesOfPrimary() const
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
                    if (id == m_primary && index >= 1 && index <= m_properties.size())
                        found.push_back(&m_properties[index - 1]);
                }
            }
        }
        return found;
    }

    /// Sizes as they are stored; turns and mirrors add up to one of Exif's eight orientations.
    void apply(const Property& property, PictureOutline& outline)
    {
        ByteReader fields(property.content);
        if (property.type == fourCC("ispe")) {
            fields.skip(4);
            outline.width = fields.u32be();
            outline.height = fields.u32be();
        } else if (property.type == fourCC("irot")) {
            for (int quarters = fields.u8() & 3; quarters > 0; --quarters)
                turnLeft();
            outline.orientation = orientationTag();
        } else if (property.type == fourCC("imir")) {
            mirror(fields.u8() & 1);
            outline.orientation = orientationTag();
        }
    }

    // The turning so far: where the stored picture's axes point, as (x to right, y to down).
    void turnLeft()
    {
        // A step to the right becomes one up.
        for (auto* axis : { &m_right, &m_down })
            *axis = { axis->y, -axis->x };
    }
    void mirror(int axis)
    {
        for (auto* each : { &m_right, &m_down })
            *each = axis == 1 ? Direction { -each->x, each->y } : Direction { each->x, -each->y };
    }
    std::uint32_t orientationTag() const
    {
        struct Row {
            int rightX, rightY, downX, downY;
            std::uint32_t tag;
        };
        constexpr Row Rows[] = { { 1, 0, 0, 1, 1 }, { -1, 0, 0, 1, 2 }, { -1, 0, 0, -1, 3 }, { 1, 0, 0, -1, 4 },
            { 0, 1, 1, 0, 5 }, { 0, 1, -1, 0, 6 }, { 0, -1, -1, 0, 7 }, { 0, -1, 1, 0, 8 } };
        for (const Row& row : Rows) {
            if (row.rightX == m_right.x && row.rightY == m_right.y && row.downX == m_down.x && row.downY == m_down.y)
                return row.tag;
        }
        return 1;
    }

    static std::uint64_t sized(ByteReader& fields, unsigned size)
    {
        return size == 8 ? fields.u64be() : size == 4 ? fields.u32be() : 0;
    }

    /// The first extent of an item; blocks of this kind are never in pieces.
    std::optional<Place> locate(std::uint32_t wanted) const
    {
        ByteReader fields(m_locations);
        std::uint8_t version = fields.u8();
        fields.skip(3);
        std::uint8_t sizes = fields.u8();
        std::uint8_t more = fields.u8();
        std::uint32_t count = version < 2 ? fields.u16be() : fields.u32be();
        for (std::uint32_t i = 0; i < count && !fields.failed(); ++i) {
            std::uint32_t id = version < 2 ? fields.u16be() : fields.u32be();
            std::uint16_t method = version > 0 ? fields.u16be() & 15 : 0;
            fields.skip(2); // of this file
            std::uint64_t base = sized(fields, more >> 4);
            std::uint16_t extents = fields.u16be();
            for (std::uint16_t extent = 0; extent < extents && !fields.failed(); ++extent) {
                if (version > 0)
                    sized(fields, more & 15u);
                std::uint64_t offset = sized(fields, sizes >> 4);
                std::uint64_t size = sized(fields, sizes & 15u);
                if (id != wanted || fields.failed() || method > 1)
                    continue;
                std::uint64_t start = 0;
                if (__builtin_add_overflow(base, offset, &start)
                    || __builtin_add_overflow(start, method == 1 ? m_data.offset : 0, &start))
                    return std::nullopt;
                return Place { start, size };
            }
        }
        return std::nullopt;
    }

    /// Four bytes say how far behind them the block begins.
    Bytes exifBlock()
    {
        auto place = m_exifItem ? locate(*m_exifItem) : std::nullopt;
        if (!place || place->size < 4 || place->size > MaxExifBytes)
            return {};
        auto bytes = m_reader.copy(place->offset, place->size);
        if (!bytes)
            return {};
        ByteReader fields(*bytes);
        fields.skip(fields.u32be());
        ByteView block = fields.rest();
        return { block.begin(), block.end() };
    }

    struct Direction {
        int x = 0;
        int y = 0;
    };

    StructureReader m_reader;
    std::uint32_t m_primary = 0;
    std::optional<std::uint32_t> m_exifItem;
    Bytes m_locations;
    Place m_data;
    std::vector<Property> m_properties;
    std::vector<Bytes> m_associations;
    Direction m_right { 1, 0 };
    Direction m_down { 0, 1 };
};

} // namespace

PictureOutline outlineOfHeif(const ByteSource& source) { return ItemReader(source).outline(); }

} // namespace mv
