#include "service/job/FactsCode.h"

#include "Base/Core/ByteReader.h"

#include <bit>
#include <gtest/gtest.h>
#include <limits>

namespace mv {
namespace {

Bytes encoded(const Facts& facts)
{
    Bytes bytes;
    encodeFacts(facts, bytes);
    return bytes;
}

Facts everything()
{
    Facts facts;
    for (const FactRow& row : FactRows) {
        switch (row.type) {
        case FactType::Text:
            facts.set(row.key, std::string(row.key == fact::Kind ? "audio" : "앨범 \U0001F600"));
            break;
        case FactType::Texts:
            facts.set(row.key, std::vector<std::string> { "one", "", "둘" });
            break;
        case FactType::Integer:
            facts.set(row.key, std::numeric_limits<std::int32_t>::min());
            break;
        case FactType::Unsigned:
            facts.set(row.key, row.key == fact::Orientation ? 8u : std::numeric_limits<std::uint32_t>::max());
            break;
        case FactType::Long:
            facts.set(row.key, std::int64_t { 5'000'000'000 });
            break;
        case FactType::UnsignedLong:
            facts.set(row.key, std::numeric_limits<std::uint64_t>::max());
            break;
        case FactType::Real:
            facts.set(row.key, -0.1);
            break;
        case FactType::Flag:
            facts.set(row.key, true);
            break;
        }
    }
    facts.pictures.push_back({ FrontCoverType, "image/jpeg", "표지", { 0, 1, 255 } });
    facts.pictures.push_back({ 0, "", "", { 1 } });
    return facts;
}

/// The bytes of one entry of a row, and no pictures.
Bytes oneEntry(std::string_view key, ByteView value, std::uint32_t count = 1)
{
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u32le(count);
    writer.u8(static_cast<std::uint8_t>(*factRowOf(key)));
    writer.bytes(value);
    writer.u32le(0);
    return bytes;
}

Bytes real(double value)
{
    auto bits = std::bit_cast<std::uint64_t>(value);
    Bytes bytes;
    ByteWriter writer(bytes);
    writer.u32le(static_cast<std::uint32_t>(bits));
    writer.u32le(static_cast<std::uint32_t>(bits >> 32));
    return bytes;
}

TEST(FactsCode, EveryKeyComesBack)
{
    Facts facts = everything();
    ASSERT_EQ(facts.entries().size(), FactRows.size());
    auto back = decodeFacts(encoded(facts));
    ASSERT_TRUE(back.ok()) << back.error().text;
    EXPECT_EQ(*back, facts);
    EXPECT_EQ(*decodeFacts(encoded({})), Facts());
}

TEST(FactsCode, NothingThatIsCutIsTaken)
{
    Bytes whole = encoded(everything());
    for (std::size_t size = 0; size < whole.size(); ++size)
        EXPECT_FALSE(decodeFacts(ByteView(whole).first(size)).ok()) << size;
    whole.push_back(0);
    EXPECT_FALSE(decodeFacts(whole).ok());
}

TEST(FactsCode, OnlyWhatIsWrittenIsTaken)
{
    EXPECT_TRUE(decodeFacts(oneEntry(fact::Title, Bytes { 1, 0, 0, 0, 'a' })).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Title, Bytes { 1, 0, 0, 0, 0xff })).ok()) << "no UTF-8";
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Title, Bytes { 2, 0, 0, 0, 'a', 0 })).ok()) << "a zero byte";
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Title, Bytes { 0xff, 0xff, 0xff, 0xff, 'a' })).ok())
        << "a text out of bounds";
    EXPECT_TRUE(decodeFacts(oneEntry(fact::Compilation, Bytes { 1 })).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Compilation, Bytes { 2 })).ok()) << "no flag";
    Bytes twice { 1, static_cast<std::uint8_t>(*factRowOf(fact::Compilation)), 1 };
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Compilation, twice, 2)).ok()) << "a key twice";
    Bytes noRow { 1, 0, 0, 0, static_cast<std::uint8_t>(FactRows.size()), 1, 0, 0, 0, 0 };
    EXPECT_FALSE(decodeFacts(noRow).ok()) << "no key";
}

TEST(FactsCode, ValuesAreWhatTheirKeysMayHave)
{
    EXPECT_TRUE(decodeFacts(oneEntry(fact::Latitude, real(-90))).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Latitude, real(90.5))).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Longitude, real(181))).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Altitude, real(std::numeric_limits<double>::infinity()))).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Altitude, real(std::numeric_limits<double>::quiet_NaN()))).ok());
    EXPECT_TRUE(decodeFacts(oneEntry(fact::Orientation, Bytes { 8, 0, 0, 0 })).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Orientation, Bytes { 9, 0, 0, 0 })).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Kind, Bytes { 3, 0, 0, 0, 'e', 'x', 'e' })).ok());
    EXPECT_FALSE(decodeFacts(oneEntry(fact::Length, Bytes(8, 0xff))).ok()) << "a length below zero";
}

TEST(FactsCode, ClaimsAreBounded)
{
    Bytes many;
    ByteWriter(many).u32le(static_cast<std::uint32_t>(FactRows.size()) + 1);
    EXPECT_EQ(decodeFacts(many).error().kind, Error::Kind::Limit);
    Bytes texts;
    ByteWriter(texts).u32le(MaxFactTexts + 1);
    EXPECT_EQ(decodeFacts(oneEntry(fact::Artist, texts)).error().kind, Error::Kind::Limit);
    Facts pictures;
    pictures.pictures.resize(MaxFactPictures + 1, { 0, "", "", { 1 } });
    EXPECT_EQ(decodeFacts(encoded(pictures)).error().kind, Error::Kind::Limit);
    Facts empty;
    empty.pictures.push_back({});
    EXPECT_FALSE(decodeFacts(encoded(empty)).ok()) << "a picture of nothing";
}

} // namespace
} // namespace mv
