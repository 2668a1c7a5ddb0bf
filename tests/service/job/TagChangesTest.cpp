#include "service/job/TagChanges.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

TEST(TagChanges, ComeBackAsTheyWere)
{
    TagChanges changes;
    changes[TagKey::Artist] = TagChanges::Values { "AC/DC", "B" };
    changes[TagKey::Title] = TagChanges::Values();
    changes[TagKey::DiscTotal] = TagChanges::Values { "2" };
    changes.frontCover = Bytes { 1, 2, 3 };
    auto back = decodeTagChanges(encodeTagChanges(changes));
    ASSERT_TRUE(back.ok());
    EXPECT_EQ(*back, changes);
    EXPECT_TRUE(back->isNamed(TagKey::Title));
    EXPECT_FALSE(back->isNamed(TagKey::Album));
    EXPECT_EQ(back->number(TagKey::DiscTotal), 2);
    EXPECT_EQ(back->number(TagKey::Disc), 0);
}

TEST(TagChanges, BytesThatAreNoneAreRefused)
{
    Bytes whole = encodeTagChanges({ .frontCover = Bytes { 1, 2, 3 } });
    for (std::size_t size = 1; size < whole.size(); ++size)
        EXPECT_FALSE(decodeTagChanges(ByteView(whole).first(size)).ok()) << size;
    EXPECT_FALSE(decodeTagChanges(Bytes { 99, 0, 0, 0, 0 }).ok());
}

TEST(TagChanges, DatesAreThoseOfIso8601)
{
    for (const char* date : { "1999", "2010-05", "2010-05-04", "2016-05-31T17", "2016-05-31T17:01",
             "2016-05-31T17:01:35", "2016-05-31T17:01:35.25", "2016-05-31T17:01:35+02:00", "2016-05-31T17:01Z" })
        EXPECT_TRUE(isTagDate(date)) << date;
    for (const char* date :
        { "", "99", "19990", "0000", "2010-", "2010-13", "2010-05-", "2010-05-32", "2010-05-04 17:01", "2010-05-04T",
            "2010-05-04T24:00", "2010-05-04T17:01:35.", "2010-05-04T17:01+2", "yesterday" })
        EXPECT_FALSE(isTagDate(date)) << date;
}

TEST(TagChanges, CoversAreKnownByTheirFirstBytes)
{
    EXPECT_EQ(coverMimeType(bytesOf("\xFF\xD8\xFF\xE0")), "image/jpeg");
    EXPECT_EQ(coverMimeType(bytesOf("\x89PNG\r\n\x1a\n")), "image/png");
    EXPECT_EQ(coverMimeType(bytesOf("GIF89a")), "");
    EXPECT_EQ(coverMimeType({}), "");
}

} // namespace
} // namespace mv
