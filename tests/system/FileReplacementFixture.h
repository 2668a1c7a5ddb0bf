#pragma once

#include "system/FileReplacement.h"

#include "system/HiddenNeighbours.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <dirent.h>
#include <fcntl.h>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {

/// What a plan's result holds for one fixed content.
inline FileReplacement::Plan fixed(FileContent content)
{
    return [content](const InputFile&) { return Result(std::optional(content)); };
}

inline Result<void> noCheck(const InputFile&) { return {}; }

inline std::string textOf(const std::string& path)
{
    Bytes bytes = readFile(path);
    return { bytes.begin(), bytes.end() };
}

inline FileSegment literal(std::string_view text)
{
    ByteView bytes = bytesOf(text);
    return FileSegment::literal({ bytes.begin(), bytes.end() });
}

inline std::vector<std::string> namesIn(const std::string& folder)
{
    std::vector<std::string> names;
    DIR* directory = opendir(folder.c_str());
    while (dirent* entry = readdir(directory))
        if (std::string name = entry->d_name; name != "." && name != "..")
            names.push_back(name);
    closedir(directory);
    std::sort(names.begin(), names.end());
    return names;
}

inline struct stat factsOf(const std::string& path)
{
    struct stat facts { };
    EXPECT_EQ(lstat(path.c_str(), &facts), 0) << path;
    return facts;
}

class FileReplacementTest : public testing::Test {
protected:
    void expectReplaced(const std::string& path, FileContent content, const std::string& expected)
    {
        auto outcome = FileReplacement::perform(path, fixed(std::move(content)), noCheck);
        ASSERT_TRUE(outcome.ok()) << outcome.error().text;
        EXPECT_EQ(*outcome, FileReplacement::Outcome::Replaced);
        EXPECT_EQ(textOf(path), expected);
    }
    void expectFailure(const std::string& path, const FileReplacement::Plan& plan, const FileReplacement::Check& check,
        const std::string& reason)
    {
        LogCapture log;
        EXPECT_FALSE(FileReplacement::perform(path, plan, check).ok());
        EXPECT_THAT(
            log.lines(), testing::ElementsAre(testing::HasSubstr("Cannot replace the content of " + path + ": ")));
        EXPECT_THAT(log.lines(), testing::ElementsAre(testing::HasSubstr(reason)));
    }

    std::string song() { return m_folder.write("song.mp3", std::string_view("0123456789")); }
    /// The same with a second name.
    std::pair<std::string, std::string> linkedSong()
    {
        std::string path = song();
        std::string second = m_folder.file("second.mp3");
        EXPECT_EQ(link(path.c_str(), second.c_str()), 0);
        return { path, second };
    }
    UniqueFd openFolder() { return UniqueFd(open(m_folder.path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC)); }
    bool namelessFilesAreMade()
    {
        return static_cast<bool>(UniqueFd(open(m_folder.path().c_str(), O_TMPFILE | O_RDWR | O_CLOEXEC, 0600)));
    }
    /// An update that is killed as soon as the new content is written.
    static void killUpdateOf(const std::string& path, std::string_view content)
    {
        pid_t child = fork();
        if (child == 0) {
            (void)FileReplacement::perform(path, fixed({ literal(content) }), [](const InputFile&) -> Result<void> {
                raise(SIGKILL);
                return {};
            });
            _exit(1);
        }
        int status = 0;
        waitpid(child, &status, 0);
        ASSERT_TRUE(WIFSIGNALED(status));
    }

    ScratchFolder m_folder;
};

} // namespace mv::test
