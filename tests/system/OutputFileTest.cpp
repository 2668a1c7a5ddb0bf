#include "system/OutputFile.h"

#include "Base/Core/Handle.h"
#include "tests/support/Scratch.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {
namespace {

namespace fs = std::filesystem;

class OutputFileTest : public testing::Test {
protected:
    std::size_t files() const
    {
        return static_cast<std::size_t>(std::distance(fs::directory_iterator(m_scratch.path()), {}));
    }
    /// Not every file system has them.
    bool hasNamelessFiles() const
    {
        return UniqueFd(open(m_scratch.path().c_str(), O_TMPFILE | O_RDWR, 0600)).get() >= 0;
    }
    static std::unique_ptr<OutputFile> make(const std::string& path)
    {
        auto made = OutputFile::create(path);
        EXPECT_TRUE(made.ok());
        return std::move(*made);
    }

    ScratchFolder m_scratch;
    std::string m_path = m_scratch.file("new.m4a");
};

TEST_F(OutputFileTest, AppearsWhenItIsCommitted)
{
    auto file = make(m_path);
    ASSERT_TRUE(file->writeAt(3, bytesOf("def")).ok());
    ASSERT_TRUE(file->writeAt(0, bytesOf("abc")).ok());
    if (hasNamelessFiles()) {
        EXPECT_EQ(files(), 0u);
    }
    ASSERT_TRUE(file->commit().ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "abcdef");
    EXPECT_EQ(files(), 1u);
}

TEST_F(OutputFileTest, ItsDescriptorReadsAndWrites)
{
    auto file = make(m_path);
    ASSERT_EQ(pwrite(file->fd(), "abc", 3, 0), 3);
    char bytes[3] {};
    ASSERT_EQ(pread(file->fd(), bytes, 3, 0), 3);
    EXPECT_EQ(std::string_view(bytes, 3), "abc");
    ASSERT_TRUE(file->commit().ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "abc");
}

TEST_F(OutputFileTest, ANewFileHasNoNameButItsOwn)
{
    if (!hasNamelessFiles())
        GTEST_SKIP() << "this file system has no nameless files";
    UniqueFd watch(inotify_init1(IN_NONBLOCK | IN_CLOEXEC));
    ASSERT_GE(inotify_add_watch(watch.get(), m_scratch.path().c_str(), IN_CREATE | IN_MOVED_FROM | IN_MOVED_TO), 0);
    auto file = make(m_path);
    ASSERT_TRUE(file->writeAt(0, bytesOf("abc")).ok());
    ASSERT_TRUE(file->commit().ok());
    alignas(inotify_event) char events[4096];
    ssize_t length = read(watch.get(), events, sizeof events);
    ASSERT_GT(length, 0);
    const auto* event = reinterpret_cast<const inotify_event*>(events);
    EXPECT_STREQ(event->name, "new.m4a");
    EXPECT_EQ(static_cast<std::size_t>(length), sizeof *event + event->len) << "and nothing else";
}

TEST_F(OutputFileTest, ReplacesALinkThatLeadsNowhere)
{
    fs::create_symlink("nowhere/at all", m_path);
    auto file = make(m_path);
    ASSERT_TRUE(file->writeAt(0, bytesOf("abc")).ok());
    ASSERT_TRUE(file->commit().ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "abc");
    EXPECT_EQ(files(), 1u);
}

TEST_F(OutputFileTest, ANewOneDoesNotReplaceWhatHasComeMeanwhile)
{
    auto file = OutputFile::createNew(m_path);
    ASSERT_TRUE(file.ok());
    ASSERT_TRUE((*file)->writeAt(0, bytesOf("abc")).ok());
    m_scratch.write("new.m4a", "older");
    auto done = (*file)->commit();
    ASSERT_FALSE(done.ok());
    EXPECT_EQ(done.error().code, EEXIST);
    EXPECT_EQ(charsOf(readFile(m_path)), "older");
    fs::remove(m_path);
    fs::create_symlink("nowhere", m_path);
    EXPECT_FALSE((*file)->commit().ok()) << "a link has the name, too";
    fs::remove(m_path);
    EXPECT_TRUE((*file)->commit().ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "abc");
    file->reset();
    EXPECT_EQ(files(), 1u);
}

TEST_F(OutputFileTest, LeavesNothingUncommitted)
{
    m_scratch.write("new.m4a", "older");
    {
        auto file = make(m_path);
        ASSERT_TRUE(file->writeAt(0, bytesOf("abc")).ok());
    }
    EXPECT_EQ(charsOf(readFile(m_path)), "older");
    EXPECT_EQ(files(), 1u);
}

TEST_F(OutputFileTest, KeepsTheModeOfWhatItReplaces)
{
    m_scratch.write("new.m4a", "older");
    chmod(m_path.c_str(), 0604);
    auto file = make(m_path);
    ASSERT_TRUE(file->commit().ok());
    EXPECT_EQ(static_cast<int>(fs::status(m_path).permissions()), 0604);
    EXPECT_EQ(readFile(m_path), Bytes {});
}

TEST_F(OutputFileTest, NewFilesFollowTheMask)
{
    mode_t old = umask(027);
    auto file = make(m_path);
    ASSERT_TRUE(file->commit().ok());
    umask(old);
    EXPECT_EQ(static_cast<int>(fs::status(m_path).permissions()), 0640);
}

TEST_F(OutputFileTest, FollowsLinks)
{
    std::string target = m_scratch.write("real.m4a", "older");
    fs::create_symlink("real.m4a", m_path);
    auto file = make(m_path);
    ASSERT_TRUE(file->writeAt(0, bytesOf("new")).ok());
    ASSERT_TRUE(file->commit().ok());
    EXPECT_TRUE(fs::is_symlink(m_path));
    EXPECT_EQ(charsOf(readFile(target)), "new");
}

TEST_F(OutputFileTest, MovesUpWhatOverlapsAndWhatDoesNot)
{
    constexpr std::size_t Size = (2u << 20) + 77; // more than two of the blocks that it moves by
    Bytes content(Size);
    for (std::size_t i = 0; i < Size; ++i)
        content[i] = static_cast<std::uint8_t>(i * 31 >> 4);
    for (std::uint64_t distance : { std::uint64_t { 1 }, std::uint64_t { 5000 }, std::uint64_t { 3u << 20 } }) {
        auto file = make(m_path);
        ASSERT_TRUE(file->writeAt(0, content).ok());
        ASSERT_TRUE(file->moveUp(Size, distance).ok());
        Bytes moved(Size);
        auto got = file->readAt(distance, moved);
        ASSERT_TRUE(got.ok());
        EXPECT_EQ(*got, Size);
        EXPECT_TRUE(moved == content) << distance;
    }
}

TEST_F(OutputFileTest, IsReadByOthersBeforeItHasAName)
{
    auto file = make(m_path);
    ASSERT_TRUE(file->writeAt(0, bytesOf("abc")).ok());
    auto again = file->written();
    ASSERT_TRUE(again.ok());
    EXPECT_EQ((*again)->size(), 3u);
    file.reset();
    EXPECT_EQ((*again)->bytesAt(0, 3).value(), Bytes({ 'a', 'b', 'c' })) << "and lives longer";
}

TEST_F(OutputFileTest, RefusesWhatCannotBeWritten)
{
    EXPECT_EQ(OutputFile::create(Path {}).error().code, ENOENT);
    EXPECT_EQ(OutputFile::create("").error().code, ENOENT);
    EXPECT_EQ(OutputFile::create(m_path + "/").error().code, ENOENT);
    EXPECT_EQ(OutputFile::create(m_scratch.file("no/such.m4a")).error().code, ENOENT);
    EXPECT_EQ(OutputFile::create(m_scratch.path()).error().code, EISDIR);
    std::string fifo = m_scratch.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(OutputFile::create(fifo).error().kind, Error::Kind::Access);
    std::string file = m_scratch.write("file", "x");
    EXPECT_EQ(OutputFile::create(file + "/below").error().code, ENOTDIR);
}

TEST_F(OutputFileTest, LongNamesAreNames)
{
    std::string path = m_scratch.file(std::string(255, 'n'));
    auto file = make(path);
    ASSERT_TRUE(file->commit().ok());
    EXPECT_TRUE(fs::exists(path));
}

} // namespace
} // namespace mv::test
