#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Result.h"

#include <string>
#include <sys/stat.h>
#include <vector>

namespace mv {

/// Says of which file a journal is the old content: inode and birth time, since an inode number is used again.
std::string journalKey(const struct stat& facts, int fd);

/// New content in the making. Without a name it is gone with its process, whatever ends that.
struct PartFile {
    std::string name; ///< empty while it has none
    UniqueFd fd;
};

/// The hidden files that a replacement keeps beside its target, in the folder behind a descriptor that stays the
/// caller's. "Part" files are new content in the making, named after the target (if they have to have a name) and
/// worthless after their process died; "journal" files are the complete old content of a file that is being rewritten
/// in place, named after that file's identity. Both names end in 64 unpredictable bits.
class HiddenNeighbours {
public:
    HiddenNeighbours(int folder, const std::string& targetName);

    /// A new empty part file, readable and writable by us alone; nameless where the file system has such files.
    Result<PartFile> makePart() const;
    /// One with a name, as on file systems that have no nameless ones.
    Result<PartFile> makeNamedPart() const;
    /// Gives a nameless part the name of a part file, so that it can be renamed: nothing else takes the place of a file
    /// that exists. A process that ends between the two leaves it to removeParts().
    Result<void> name(PartFile& part) const;
    /// Turns a finished part file into a journal, in one step; its new name.
    Result<std::string> makeJournal(PartFile& part, const std::string& key) const;
    void remove(const std::string& name) const;
    /// Removes a part file that has a name.
    void discard(const PartFile& part) const;

    /// Removes the part files that killed replacements of this target left.
    void removeParts() const;
    /// The journals for the key; ours only, since a forged one would be written into the target.
    std::vector<std::string> journals(const std::string& key) const;

private:
    std::vector<std::string> ours(const std::string& prefix) const;
    Result<PartFile> makeNamelessPart() const;
    Result<void> giveName(PartFile& part, std::string name) const;

    int m_folder;
    std::string m_partPrefix;
};

} // namespace mv
