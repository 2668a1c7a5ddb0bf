#include "facts/reading/FrontSource.h"

#include <cstdint>
#include <gtest/gtest.h>

namespace mv {
namespace {

std::size_t countAt(const ByteSource& source, std::uint64_t offset, std::size_t wanted)
{
    Bytes target(wanted);
    auto count = source.readAt(offset, target);
    return count.ok() ? *count : SIZE_MAX;
}

TEST(FrontSource, NoOffsetLeadsOutOfTheFile)
{
    const Bytes small(100, 7);
    const Bytes large(FrontSource::FrontBytes + 100, 7);
    for (const Bytes* content : { &small, &large }) {
        const MemorySource whole(*content);
        const FrontSource source(whole);
        EXPECT_EQ(countAt(source, 0, 4), 4u);
        EXPECT_EQ(countAt(source, content->size() - 2, 4), 2u);
        EXPECT_EQ(countAt(source, content->size(), 4), 0u);
        for (std::uint64_t back : { 1u, 2u, 8u, 100u })
            EXPECT_EQ(countAt(source, UINT64_MAX - back + 1, 8), 0u) << back;
    }
}

} // namespace
} // namespace mv
