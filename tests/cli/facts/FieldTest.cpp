#include "cli/facts/FactField.h"

#include <gmock/gmock.h>
#include <set>

namespace mv::cli {
namespace {

TEST(FactField, IsFoundByItsKeyAndItsName)
{
    for (const FactRow& row : FactRows) {
        FactField field(row.key);
        EXPECT_EQ(FactField::named(row.key).value(), field);
        EXPECT_EQ(FactField::named(field.name()).value(), field) << row.key;
        EXPECT_EQ(field.type(), row.type);
    }
    EXPECT_TRUE(FactField::named("path").value().isPath());
    EXPECT_EQ(FactField::named("SAMPLERATE").value().key(), fact::SampleRate);
    EXPECT_EQ(FactField::named("track").value().key(), fact::TrackNumber);
    EXPECT_EQ(FactField::named("date").value().key(), fact::ContentCreated);
}

TEST(FactField, NoTwoHaveOneName)
{
    std::set<std::string_view> names;
    for (const FactField& field : allFields())
        EXPECT_TRUE(names.insert(field.name()).second) << field.name();
    EXPECT_EQ(names.size(), FactRows.size() + 1);
}

TEST(FactField, AMistypedOneGetsTheNearestBack)
{
    EXPECT_EQ(FactField::named("artits").error().text, "there is no field \"artits\"; did you mean artist?");
    EXPECT_EQ(FactField::named("xyzzyxyzzy").error().text, "there is no field \"xyzzyxyzzy\"");
    EXPECT_EQ(FactField::named(std::string(1000, 'x')).error().text, "there is no field of such a long name");
    EXPECT_FALSE(FactField::named("").ok());
    EXPECT_FALSE(FactField::named("mivo:artist").ok());
}

TEST(FactField, ListsOfNames)
{
    auto fields = fieldsFrom("artist, xesam:title ,path");
    ASSERT_TRUE(fields.ok());
    EXPECT_THAT(*fields, testing::ElementsAre(FactField(fact::Artist), FactField(fact::Title), FactField()));
    EXPECT_FALSE(fieldsFrom("").ok());
    EXPECT_FALSE(fieldsFrom("artist,").ok());
    EXPECT_FALSE(fieldsFrom("artist,,title").ok());
}

} // namespace
} // namespace mv::cli
