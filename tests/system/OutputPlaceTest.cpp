#include "system/OutputPlace.h"

#include "tests/support/Scratch.h"

#include <cerrno>
#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {
namespace {

namespace fs = std::filesystem;

class OutputPlaceTest : public testing::Test {
protected:
    ScratchFolder m_scratch;
    std::string m_path = m_scratch.file("made.m4a");
    SharedPlace m_place = OutputPlace::at(m_path);
};

TEST_F(OutputPlaceTest, WritesIntoNothingThatAFolderCannotHold)
{
    UniqueFd own(memfd_create("own", MFD_CLOEXEC));
    for (const std::string& target :
        { std::string("/proc/self/mem"), std::string("/dev/ptmx"), "/proc/self/fd/" + std::to_string(own.get()) }) {
        fs::create_symlink(target, m_path);
        EXPECT_FALSE(m_place->openInPlace(OpenedFile())) << target;
        fs::remove(m_path);
    }
    for (const std::string& target : { std::string("/dev/null"), m_scratch.file("other") }) {
        fs::create_symlink(target, m_path);
        EXPECT_TRUE(m_place->openInPlace(OpenedFile())) << target;
        fs::remove(m_path);
    }
}

TEST_F(OutputPlaceTest, HoldsAFileUnderWhateverName)
{
    auto input = OpenedFile::at(m_scratch.write("in.wav", "sound"));
    EXPECT_FALSE(m_place->holds(input)) << "nothing is there";
    m_scratch.write("made.m4a", "sound");
    EXPECT_FALSE(m_place->holds(input)) << "another file is there";
    fs::remove(m_path);
    fs::create_hard_link(m_scratch.file("in.wav"), m_path);
    EXPECT_TRUE(m_place->holds(input));
    fs::remove(m_path);
    fs::create_symlink("in.wav", m_path);
    EXPECT_TRUE(m_place->holds(input));
    EXPECT_FALSE(OutputPlace::at(m_scratch.file("none"))->holds(OpenedFile::at(m_scratch.file("none"))));
    EXPECT_FALSE(OutputPlace::at(Path())->holds(OpenedFile()));
}

// The name may have been given to another file since the input was opened: that one is not the input.
TEST_F(OutputPlaceTest, DoesNotHoldAFileThatHasLostItsName)
{
    auto input = OpenedFile::at(m_scratch.write("made.m4a", "sound"));
    ASSERT_TRUE(m_place->holds(input));
    fs::rename(m_path, m_scratch.file("moved"));
    m_scratch.write("made.m4a", "other");
    EXPECT_FALSE(m_place->holds(input));
    EXPECT_TRUE(OutputPlace::at(m_scratch.file("moved"))->holds(input));
}

TEST_F(OutputPlaceTest, RoomIsToldWithoutTouchingWhatIsThere)
{
    EXPECT_TRUE(m_place->canHoldFile());
    m_scratch.write("made.m4a", "older");
    EXPECT_TRUE(m_place->canHoldFile());
    EXPECT_EQ(charsOf(readFile(m_path)), "older");
    EXPECT_FALSE(OutputPlace::at(m_scratch.path())->canHoldFile());
    EXPECT_FALSE(OutputPlace::at(m_scratch.file("no/made.m4a"))->canHoldFile());
    EXPECT_FALSE(OutputPlace::at(m_path + "/below")->canHoldFile());
    EXPECT_FALSE(OutputPlace::at(Path())->canHoldFile());
}

TEST_F(OutputPlaceTest, ClearingRemovesTheFileOrTheLink)
{
    EXPECT_TRUE(m_place->clear().ok()) << "nothing is there";
    m_scratch.write("made.m4a", "older");
    EXPECT_TRUE(m_place->clear().ok());
    EXPECT_FALSE(fs::exists(m_path));
    std::string kept = m_scratch.write("kept", "kept");
    fs::create_symlink("kept", m_path);
    EXPECT_TRUE(m_place->clear().ok());
    EXPECT_FALSE(fs::is_symlink(m_path));
    EXPECT_EQ(charsOf(readFile(kept)), "kept");
    EXPECT_FALSE(OutputPlace::at(m_scratch.path())->clear().ok());
    EXPECT_TRUE(fs::is_directory(m_scratch.path()));
    EXPECT_EQ(OutputPlace::at(m_scratch.file(std::string(300, 'n')))->clear().error().code, ENAMETOOLONG);
}

TEST_F(OutputPlaceTest, WhatIsNoFileStays)
{
    ASSERT_EQ(mkfifo(m_path.c_str(), 0600), 0);
    std::string link = m_scratch.file("link");
    fs::create_symlink("made.m4a", link);
    for (const std::string& path : { m_path, link }) {
        SharedPlace place = OutputPlace::at(path);
        EXPECT_FALSE(place->canHoldFile());
        EXPECT_FALSE(place->clear().ok());
        EXPECT_FALSE(place->create().ok());
        EXPECT_TRUE(fs::is_fifo(m_path));
        EXPECT_TRUE(fs::exists(path));
    }
}

TEST_F(OutputPlaceTest, ALinkToWhatAProcessHasOpenStays)
{
    UniqueFd log(open(m_scratch.write("log", "lines").c_str(), O_WRONLY | O_CLOEXEC));
    fs::create_symlink("/proc/self/fd/" + std::to_string(log.get()), m_path);
    EXPECT_FALSE(m_place->canHoldFile());
    EXPECT_FALSE(m_place->clear().ok());
    EXPECT_TRUE(fs::is_symlink(m_path));
    EXPECT_EQ(charsOf(readFile(m_scratch.file("log"))), "lines");
}

TEST_F(OutputPlaceTest, WhatIsMadeThereTakesTheNameAtTheEnd)
{
    m_scratch.write("made.m4a", "older");
    auto file = m_place->create();
    ASSERT_TRUE(file.ok());
    ASSERT_TRUE((*file)->writeAt(0, bytesOf("new")).ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "older");
    ASSERT_TRUE((*file)->commit().ok());
    EXPECT_EQ(charsOf(readFile(m_path)), "new");
    EXPECT_EQ(m_place->attributes()->size, 3);
    EXPECT_FALSE(OutputPlace::at(Path())->create().ok());
}

// ---- In place

TEST_F(OutputPlaceTest, AFileInPlaceIsEmptiedAndWritten)
{
    m_scratch.write("made.m4a", "something older");
    auto file = m_place->openInPlace(OpenedFile());
    ASSERT_TRUE(file);
    EXPECT_EQ(fs::file_size(m_path), 0u);
    EXPECT_TRUE(file->write(bytesOf("abcdef")));
    EXPECT_TRUE(file->seek(1));
    EXPECT_TRUE(file->write(bytesOf("B")));
    EXPECT_TRUE(file->close());
    EXPECT_TRUE(file->close()) << "once more";
    EXPECT_EQ(charsOf(readFile(m_path)), "aBcdef");
}

TEST_F(OutputPlaceTest, ADescriptorInPlaceIsForWritingAlone)
{
    m_scratch.write("made.m4a", "something older");
    UniqueFd fd = m_place->openDescriptorInPlace(OpenedFile());
    ASSERT_TRUE(fd);
    EXPECT_EQ(fs::file_size(m_path), 0u);
    EXPECT_EQ(pwrite(fd.get(), "abc", 3, 1), 3);
    EXPECT_EQ(charsOf(readFile(m_path)), std::string("\0abc", 4));
    char byte = 0;
    EXPECT_EQ(read(fd.get(), &byte, 1), -1);
    EXPECT_EQ(errno, EBADF);
    EXPECT_EQ(fcntl(fd.get(), F_GETFD), FD_CLOEXEC);
}

TEST_F(OutputPlaceTest, AFileThatIsDroppedInPlaceStaysAsFarAsItIs)
{
    auto file = m_place->openInPlace(OpenedFile());
    ASSERT_TRUE(file);
    EXPECT_TRUE(file->write(bytesOf("abc")));
    file.reset();
    EXPECT_EQ(charsOf(readFile(m_path)), "abc");
}

TEST_F(OutputPlaceTest, TheInputIsNotOpenedInPlace)
{
    std::string path = m_scratch.write("in.wav", "sound");
    auto input = OpenedFile::at(path);
    fs::create_hard_link(path, m_path);
    fs::create_symlink("in.wav", m_scratch.file("link"));
    for (const std::string& name : { path, m_path, m_scratch.file("link") }) {
        EXPECT_FALSE(OutputPlace::at(name)->openInPlace(input)) << name;
        EXPECT_FALSE(OutputPlace::at(name)->openDescriptorInPlace(input)) << name;
    }
    EXPECT_EQ(charsOf(readFile(path)), "sound");
    // The name is another file's by now, which is none of the input's business.
    fs::rename(path, m_scratch.file("moved.wav"));
    m_scratch.write("in.wav", "other");
    EXPECT_TRUE(OutputPlace::at(path)->openInPlace(input));
    EXPECT_EQ(charsOf(readFile(m_path)), "sound");
}

TEST_F(OutputPlaceTest, WhatCannotBeWrittenIsNotOpenedInPlace)
{
    std::string fifo = m_scratch.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    for (const std::string& name : { fifo, m_scratch.path(), m_scratch.file("no/made.mp3") })
        EXPECT_FALSE(OutputPlace::at(name)->openInPlace(OpenedFile())) << name;
}

} // namespace
} // namespace mv::test
