#include "service/media1/MediaInput.h"
#include "tests/support/OrdinaryUser.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <gtest/gtest.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {
namespace {

/// Why it is not opened; nothing where it is.
std::optional<MediaErrorKind> refusal(MediaInput input)
{
    try {
        static_cast<void>(input.open());
        return std::nullopt;
    } catch (const MediaError& error) {
        return error.kind();
    }
}

MediaInput handed(const std::string& path, int flags)
{
    return MediaInput::handed(UniqueFd(open(path.c_str(), flags)), "name");
}

class MediaInputTest : public testing::Test {
protected:
    test::ScratchFolder m_folder;
    const std::string m_file = m_folder.write("file", "content");
};

TEST_F(MediaInputTest, OpensPathsAndTakesHandles)
{
    MediaInput path = MediaInput::at(m_file);
    EXPECT_TRUE(path.hasPath());
    EXPECT_EQ(path.open().attributes()->size, 7);
    MediaInput handle = handed(m_file, O_RDONLY);
    EXPECT_FALSE(handle.hasPath());
    EXPECT_EQ(handle.open().attributes()->size, 7);
}

TEST_F(MediaInputTest, SaysWhyAPathIsRefused)
{
    EXPECT_EQ(refusal(MediaInput::at(m_folder.file("nobody"))), MediaErrorKind::NotFound);
    EXPECT_EQ(refusal(MediaInput::at(m_file + "/below")), MediaErrorKind::NotFound);
    EXPECT_EQ(refusal(MediaInput::at(m_folder.path())), MediaErrorKind::NotRegular);
    EXPECT_EQ(refusal(MediaInput::at("/dev/null")), MediaErrorKind::NotRegular);
    std::string fifo = m_folder.file("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(refusal(MediaInput::at(fifo)), MediaErrorKind::NotRegular) << "at once: nobody writes into it";
}

TEST_F(MediaInputTest, APathThatMayNotBeReadIsRefused)
{
    std::string closed = m_folder.write("closed/file", "content");
    ASSERT_EQ(chmod(m_file.c_str(), 0), 0);
    ASSERT_EQ(chmod(m_folder.file("closed").c_str(), 0), 0);
    ASSERT_EQ(chmod(m_folder.path().c_str(), 0755), 0);
    {
        test::OrdinaryUser user;
        EXPECT_EQ(refusal(MediaInput::at(m_file)), MediaErrorKind::AccessDenied);
        EXPECT_EQ(refusal(MediaInput::at(closed)), MediaErrorKind::AccessDenied);
    }
    ASSERT_EQ(chmod(m_folder.file("closed").c_str(), 0700), 0);
}

TEST_F(MediaInputTest, HandlesThatCannotBeReadAreRefused)
{
    EXPECT_EQ(refusal(handed(m_file, O_PATH)), MediaErrorKind::AccessDenied);
    EXPECT_EQ(refusal(handed(m_file, O_WRONLY)), MediaErrorKind::AccessDenied);
    EXPECT_EQ(refusal(handed(m_folder.path(), O_RDONLY | O_DIRECTORY)), MediaErrorKind::NotRegular);
    EXPECT_EQ(refusal(handed("/dev/null", O_RDONLY)), MediaErrorKind::NotRegular);
}

TEST_F(MediaInputTest, NobodyWritesThroughWhatIsHandedOn)
{
    OpenedFile file = handed(m_file, O_RDWR).open();
    EXPECT_EQ(fcntl(file.descriptor(), F_GETFL) & O_ACCMODE, O_RDONLY);
    UniqueFd memory(memfd_create("memory", MFD_CLOEXEC));
    ASSERT_EQ(write(memory.get(), "content", 7), 7);
    file = MediaInput::handed(std::move(memory), "").open();
    EXPECT_EQ(fcntl(file.descriptor(), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ((*file.content())->size(), 7u);
}

TEST_F(MediaInputTest, SentencesNameTheLastElementAlone)
{
    EXPECT_EQ(MediaInput::at("/secret/folder/a song.mp3").shownName(), "a song.mp3");
    EXPECT_EQ(MediaInput::handed(UniqueFd(), "/secret/cover.png").shownName(), "cover.png");
    EXPECT_EQ(MediaInput::handed(UniqueFd(), "").shownName(), "the file");
    EXPECT_EQ(mediaSentence(MediaErrorKind::NotFound, "\xff.mp3"), "There is no file \"\xEF\xBF\xBD.mp3\".");
    for (int kind = 1; kind <= static_cast<int>(LastMediaErrorKind); ++kind)
        EXPECT_TRUE(mediaSentence(static_cast<MediaErrorKind>(kind), "x").ends_with('.')) << kind;
}

} // namespace
} // namespace mv
