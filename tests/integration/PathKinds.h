#pragma once

#include "tests/support/Scratch.h"

#include <string>
#include <string_view>
#include <vector>

namespace mv::test {

/// What a path that a client hands over can lead to.
inline constexpr std::string_view AllPathKinds[] = {
    "nil",
    "missing",
    "no-folder",
    "locked-folder",
    "unreadable",
    "unwritable",
    "folder",
    "fifo",
    "device",
    "socket",
    "dangling-link",
    "loop",
    "link",
    "nameless",
    "unsized",
    "empty",
    "regular",
};

/// One path of each kind, in a folder of the test's own. A file of every kind that holds something holds `content`.
class PathKinds {
public:
    /// `extension` with its dot: services go by it.
    PathKinds(ByteView content, std::string_view extension);
    ~PathKinds();
    PathKinds(const PathKinds&) = delete;
    PathKinds& operator=(const PathKinds&) = delete;

    std::string path(std::string_view kind) const;
    /// What the path leads to now: "older", "a file of N bytes", "a folder" and the like.
    std::string leftAt(std::string_view kind) const;
    /// The text with the paths' own names in the place of what differs from run to run.
    std::string withoutFolder(std::string text) const;
    /// What lies beside the paths that were made.
    std::vector<std::string> strangers() const;

private:
    std::string name(std::string_view kind) const;
    void makeGuarded(ByteView content) const;
    void setGuarded(bool guarded) const;
    std::string kindOfFileAt(std::string_view kind) const;
    void makeDevice() const;
    void makeSocket();
    void openNameless(ByteView content);

    ScratchFolder m_folder;
    Bytes m_content;
    std::string m_extension;
    int m_nameless = -1;
    int m_socket = -1;
};

} // namespace mv::test
