#include "application/NSFileManager.h"

#include "tests/support/Scratch.h"

#include <gtest/gtest.h>
#include <unistd.h>

namespace mv {
namespace {

TEST(NSFileManager, Existence)
{
    test::ScratchFolder folder;
    EXPECT_TRUE(NSFileManager::fileExistsAtPath(folder.path()));
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(folder.file("none")));
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(Path()));
    ASSERT_EQ(symlink("nowhere", folder.file("link").c_str()), 0);
    EXPECT_FALSE(NSFileManager::fileExistsAtPath(folder.file("link")));
}

} // namespace
} // namespace mv
