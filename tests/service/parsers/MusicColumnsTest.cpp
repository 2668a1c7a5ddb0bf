#include "service/parsers/MusicColumns.h"

#include <gmock/gmock.h>
#include <vector>

namespace mv {
namespace {

using testing::ElementsAre;
using testing::Pair;

TEST(MusicColumns, OfTheFile)
{
    Record record;
    setMusicFileColumns(record, { .size = 5'000'000'000, .modificationDate = Date::fromSeconds(7) });
    EXPECT_EQ(record, (Record { { "DateModified", Date::fromSeconds(7) }, { "FileSize", Value(5'000'000'000) } }));
}

TEST(MusicColumns, FixedOnesInTheOrderThatClientsSee)
{
    Record record { { "IsReadOnly", true } };
    setFixedMusicColumns(record);
    EXPECT_THAT(std::vector<Record::Entry>(record.begin(), record.end()),
        ElementsAre(Pair("IsReadOnly", Value(false)), Pair("DRMProperty", Value(0)),
            Pair("IsLicenseExpired", Value(false)), Pair("HasLyrics", Value(false)), Pair("PlayState", Value(0)),
            Pair("LinkError", Value(false))));
}

} // namespace
} // namespace mv
