#include "pictures/HeifItems.h"

#include "Base/Core/ByteReader.h"

#include <gtest/gtest.h>
#include <vector>

namespace mv {
namespace {

Bytes box(std::string_view type, ByteView content)
{
    Bytes bytes;
    ByteWriter out(bytes);
    out.u32be(static_cast<std::uint32_t>(content.size() + 8));
    out.text(type);
    out.bytes(content);
    return bytes;
}

/// A table of places of the second version, in which numbers have these sizes in bytes.
class PlaceTable {
public:
    PlaceTable(unsigned offsetSize, unsigned lengthSize, unsigned baseSize, std::uint32_t items)
    {
        m_out.u32be(2u << 24);
        m_out.u8(static_cast<std::uint8_t>(offsetSize << 4 | lengthSize));
        m_out.u8(static_cast<std::uint8_t>(baseSize << 4));
        m_out.u32be(items);
    }
    void item(std::uint32_t id, std::uint16_t extents)
    {
        m_out.u32be(id);
        m_out.u16be(0); // in the file
        m_out.u16be(0); // in this one
        m_out.u16be(extents);
    }
    ByteWriter& out() { return m_out; }

    /// A file with the table, and behind it what it speaks of.
    Bytes file(std::string_view content) const
    {
        Bytes meta(4);
        Bytes table = box("iloc", m_content);
        meta.insert(meta.end(), table.begin(), table.end());
        Bytes bytes = box("meta", meta);
        ByteWriter(bytes).text(content);
        return bytes;
    }

private:
    Bytes m_content;
    ByteWriter m_out { m_content };
};

Bytes pieceOf(std::uint32_t item, ByteView file)
{
    MemorySource source(file);
    auto items = HeifItems::read(source);
    return items ? items->firstPieceOf(item, source, 1000) : Bytes {};
}

TEST(HeifItems, TheFirstPieceOfAnItemIsFoundBehindOthers)
{
    PlaceTable table(4, 4, 0, 2);
    table.item(1, 3);
    for (int i = 0; i < 6; ++i)
        table.out().u32be(1);
    table.item(7, 2);
    const std::size_t begin = table.file("").size() + 16;
    for (std::uint32_t number : { static_cast<std::uint32_t>(begin) + 3, 5u, 0u, 0u })
        table.out().u32be(number);
    EXPECT_EQ(charsOf(pieceOf(7, table.file("in front of it"))), "front");
    EXPECT_TRUE(pieceOf(8, table.file("in front of it")).empty());
}

TEST(HeifItems, PiecesOfNoSizeAreNotCounted)
{
    // Of as many items as there is room for, each claims as many pieces as it can. To look at all would take long.
    constexpr std::uint32_t Items = 100'000;
    PlaceTable table(0, 0, 0, Items);
    for (std::uint32_t i = 0; i < Items; ++i)
        table.item(1, 0xFFFF);
    EXPECT_TRUE(pieceOf(7, table.file("")).empty());
}

/// Boxes one behind the other.
Bytes joined(const std::vector<Bytes>& boxes)
{
    Bytes bytes;
    for (const Bytes& one : boxes)
        bytes.insert(bytes.end(), one.begin(), one.end());
    return bytes;
}

Bytes fileWithProperties(const std::vector<Bytes>& boxes)
{
    return box("meta", joined({ Bytes(4), box("iprp", joined(boxes)) }));
}

/// Of one item one property, by its number.
Bytes association(std::uint16_t item, std::uint16_t property)
{
    Bytes content;
    ByteWriter out(content);
    out.u32be(1); // wide numbers
    out.u32be(1);
    out.u16be(item);
    out.u8(1);
    out.u16be(property);
    return box("ipma", content);
}

TEST(HeifItems, ManyListsOfPropertiesTakeNoMoreRoomThanOne)
{
    const Bytes half = box("ipco", joined(std::vector<Bytes>(2100, box("irot", Bytes { 1 }))));
    Bytes file = fileWithProperties({ half, half, half, association(1, 2101), association(2, 4097) });
    auto items = HeifItems::read(MemorySource(file));
    ASSERT_TRUE(items);
    EXPECT_EQ(items->propertiesOf(1).size(), 1u);
    EXPECT_TRUE(items->propertiesOf(2).empty());
}

TEST(HeifItems, ListsOfWhoHasThePropertiesAreFew)
{
    std::vector<Bytes> boxes(1000, association(1, 1));
    boxes.push_back(box("ipco", box("irot", Bytes { 1 })));
    auto items = HeifItems::read(MemorySource(fileWithProperties(boxes)));
    ASSERT_TRUE(items);
    EXPECT_EQ(items->propertiesOf(1).size(), 16u);
}

} // namespace
} // namespace mv
