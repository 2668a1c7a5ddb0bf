#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <string>
#include <sys/stat.h>
#include <vector>

namespace mv {

/// Says of which file a journal is the old content: inode and birth time, since an inode number is used again.
std::string journalKey(const struct stat& facts, int fd);

/// The hidden files that a replacement keeps beside its target, in the folder behind a descriptor that stays the
/// caller's. "Part" files are new content in the making, named after the target and worthless after their process
/// died; "journal" files are the complete old content of a file that is being rewritten in place, named after that
/// file's identity. Both names end in 64 unpredictable bits.
class HiddenNeighbours {
public:
    HiddenNeighbours(int folder, std::string targetName);

    struct Made {
        std::string name;
        UniqueFd fd;
    };
    /// A new empty part file, readable and writable by us alone.
    Result<Made> makePart() const;
    /// Turns a finished part file into a journal; its new name.
    Result<std::string> makeJournal(const std::string& part, const std::string& key) const;
    void remove(const std::string& name) const;

    /// Removes the part files that killed replacements of this target left.
    void removeParts() const;
    /// The journals for the key; ours only, since a forged one would be written into the target.
    std::vector<std::string> journals(const std::string& key) const;

private:
    std::vector<std::string> ours(const std::string& prefix) const;

    int m_folder;
    std::string m_partPrefix;
};

} // namespace mv
