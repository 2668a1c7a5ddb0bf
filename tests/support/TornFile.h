#pragma once

#include "system/HiddenNeighbours.h"
#include "tests/support/Scratch.h"

#include <fcntl.h>
#include <filesystem>
#include <gtest/gtest.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv::test {

/// Leaves a file as a kill in the middle of its rewrite in place does: it has another name beside its own, `torn` in
/// it, and what it held lies in a journal.
inline void tear(const std::string& path, std::string_view torn)
{
    const std::filesystem::path name(path);
    std::filesystem::create_hard_link(name, name.parent_path() / ("second of " + name.filename().string()));
    UniqueFd folder(open(name.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    UniqueFd file(open(path.c_str(), O_RDWR | O_CLOEXEC));
    struct stat facts { };
    ASSERT_EQ(fstat(file.get(), &facts), 0);
    HiddenNeighbours neighbours(folder.get(), name.filename());
    auto journal = neighbours.makePart();
    ASSERT_TRUE(journal.ok());
    const Bytes content = readFile(path);
    ASSERT_EQ(write(journal->fd.get(), content.data(), content.size()), static_cast<ssize_t>(content.size()));
    ASSERT_TRUE(neighbours.makeJournal(*journal, journalKey(facts, file.get())).ok());
    ASSERT_EQ(ftruncate(file.get(), 0), 0);
    ASSERT_EQ(pwrite(file.get(), torn.data(), torn.size(), 0), static_cast<ssize_t>(torn.size()));
}

} // namespace mv::test
