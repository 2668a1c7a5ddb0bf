#include "Base/Core/LateLoading.h"

#include <cstdlib>
#include <gtest/gtest.h>
#include <stdexcept>

namespace mv {
namespace {

/// What comes of a job that needs a library and takes every failure for the file's.
int statusOfJob()
{
    try {
        aboutToLoadLibrary();
        return 1;
    } catch (const std::exception&) {
        return 2;
    } catch (const LibraryNotLoaded&) {
        return 3;
    }
}

TEST(LateLoading, IsAllowedToBeginWith) { EXPECT_EQ(statusOfJob(), 1); }

// For good, so in a process of its own.
TEST(LateLoadingDeathTest, WhereItIsForbiddenAJobIsLeftByWhatIsNoFailure)
{
    EXPECT_EXIT(
        {
            forbidLateLoading();
            std::exit(statusOfJob());
        },
        testing::ExitedWithCode(3), "");
}

} // namespace
} // namespace mv
