#include "service/tagedit/TagEdit.h"

#include "tests/service/tagedit/EditedBytes.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>
#include <new>

namespace mv {
namespace {

/// A file larger than the memory of whoever reads it.
class Hungry final : public ByteSource {
public:
    std::uint64_t size() const override { return 1000; }
    Result<std::size_t> readAt(std::uint64_t, std::span<std::uint8_t>) const override { throw std::bad_alloc(); }
};

TEST(TagEdit, WantOfMemoryIsALimitInEitherStep)
{
    const TagChanges changes = test::titleChange("x");
    TagEdit edit(changes, "a song.mp3");
    auto plan = edit.plan(Hungry());
    ASSERT_FALSE(plan);
    EXPECT_EQ(plan.error().kind, Error::Kind::Limit);
    const std::string song = test::mpegFrames(20);
    ASSERT_TRUE(edit.plan(MemorySource(bytesOf(song))));
    auto checked = edit.check(Hungry());
    ASSERT_FALSE(checked);
    EXPECT_EQ(checked.error().kind, Error::Kind::Limit);
}

} // namespace
} // namespace mv
