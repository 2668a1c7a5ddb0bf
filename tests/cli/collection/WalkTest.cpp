#include "cli/collection/FolderWalk.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <filesystem>
#include <gmock/gmock.h>
#include <sys/stat.h>

namespace mv::cli {
namespace {

class FolderWalkTest : public testing::Test {
protected:
    std::vector<std::string> walked(const std::string& folder)
    {
        std::vector<std::string> paths;
        FolderWalk walk(folder);
        while (auto found = walk.next())
            paths.push_back(
                found->failure ? "!" + found->failure->text : found->path.substr(m_folder.path().size() + 1));
        return paths;
    }
    test::ScratchFolder m_folder;
};

TEST_F(FolderWalkTest, GoesInTheOrderOfNames)
{
    for (const char* name : { "ab/x", "ab.txt", "a/z", "a/b/c", "b", "a-b", "aa/1", "\xff", "Z" })
        m_folder.write(name, std::string_view("1"));
    auto paths = walked(m_folder.path());
    EXPECT_THAT(paths, testing::ElementsAre("Z", "a/b/c", "a/z", "a-b", "aa/1", "ab/x", "ab.txt", "b", "\xff"));
    for (std::size_t i = 0; i + 1 < paths.size(); ++i) {
        EXPECT_TRUE(precedes(paths[i], paths[i + 1])) << paths[i];
        EXPECT_FALSE(precedes(paths[i + 1], paths[i])) << paths[i];
    }
    EXPECT_EQ(walked(m_folder.path() + "///"), paths);
    EXPECT_FALSE(precedes("a", "a"));
    EXPECT_TRUE(precedes("a", "a/b"));
}

TEST_F(FolderWalkTest, LeavesOutLinksToFoldersHiddenOnesAndWhatIsNoFile)
{
    for (const char* name : { "a", ".hidden", ".b/c", "d/e" })
        m_folder.write(name, std::string_view("1"));
    ASSERT_EQ(mkfifo(m_folder.file("fifo").c_str(), 0600), 0);
    namespace fs = std::filesystem;
    fs::create_directory_symlink(m_folder.file("d"), m_folder.file("to-folder"));
    fs::create_symlink(m_folder.file("a"), m_folder.file("to-file"));
    fs::create_symlink("nothing", m_folder.file("to-nothing"));
    fs::create_directory_symlink(m_folder.path(), m_folder.file("d/circle"));
    EXPECT_THAT(walked(m_folder.path()), testing::ElementsAre("a", "d/e", "to-file"));
    EXPECT_THAT(walked(m_folder.file("to-folder")), testing::ElementsAre("to-folder/e"));
}

TEST_F(FolderWalkTest, SaysWhatCannotBeRead)
{
    EXPECT_THAT(walked(m_folder.file("none")), testing::ElementsAre("!there is no such folder"));
    EXPECT_THAT(walked(m_folder.write("a", std::string_view("1"))), testing::ElementsAre("!is no folder"));
    std::string tooLong = m_folder.path();
    for (int i = 0; i < 20; ++i)
        tooLong += "/" + std::string(250, 'x');
    EXPECT_THAT(walked(tooLong), testing::ElementsAre("!cannot be read: File name too long"));
}

TEST(FolderNames, WithinIsTheFolderOrBelow)
{
    EXPECT_TRUE(isWithin("/a/b", "/a"));
    EXPECT_TRUE(isWithin("/a", "/a"));
    EXPECT_TRUE(isWithin("/a", "/"));
    EXPECT_FALSE(isWithin("/ab", "/a"));
    EXPECT_FALSE(isWithin("/", "/a"));
    EXPECT_FALSE(isWithin("/a", ""));
    EXPECT_FALSE(isWithin("", "/a"));
}

} // namespace
} // namespace mv::cli
