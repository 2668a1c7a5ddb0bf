#include "Base/Core/ByteReader.h"
#include "facts/reading/PictureOutline.h"
#include "pictures/HeifItems.h"

namespace mv {

namespace {

/// Turns and mirrors add up to one of Exif's eight orientations.
class Turning {
public:
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
    std::uint32_t tag() const
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

private:
    struct Direction {
        int x = 0;
        int y = 0;
    };

    // Where the stored picture's axes point, as (x to right, y to down).
    Direction m_right { 1, 0 };
    Direction m_down { 0, 1 };
};

/// Sizes as they are stored.
void apply(const HeifItems::Property& property, Turning& turning, PictureOutline& outline)
{
    ByteReader fields(property.content);
    if (property.type == fourCC("ispe")) {
        fields.skip(4);
        outline.width = fields.u32be();
        outline.height = fields.u32be();
    } else if (property.type == fourCC("irot")) {
        for (int quarters = fields.u8() & 3; quarters > 0; --quarters)
            turning.turnLeft();
        outline.orientation = turning.tag();
    } else if (property.type == fourCC("imir")) {
        turning.mirror(fields.u8() & 1);
        outline.orientation = turning.tag();
    }
}

/// Four bytes say how far behind them the block begins.
Bytes exifBlock(const HeifItems& items, const ByteSource& source)
{
    Bytes bytes = items.exif() ? items.firstPieceOf(*items.exif(), source, MaxExifBytes) : Bytes {};
    ByteReader fields(bytes);
    fields.skip(fields.u32be());
    ByteView block = fields.rest();
    return { block.begin(), block.end() };
}

} // namespace

PictureOutline outlineOfHeif(const ByteSource& source)
{
    PictureOutline outline;
    auto items = HeifItems::read(source);
    if (!items)
        return outline;
    Turning turning;
    for (const HeifItems::Property* property : items->propertiesOf(items->primary()))
        apply(*property, turning, outline);
    outline.exif = exifBlock(*items, source);
    return outline;
}

} // namespace mv
