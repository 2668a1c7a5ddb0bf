#pragma once

#include "Base/Core/Bytes.h"

#include <string>

namespace mv::test {

/// A folder of the test's own, gone with everything in it at the end of the scope.
class ScratchFolder {
public:
    ScratchFolder();
    /// In a folder of another file system.
    explicit ScratchFolder(const std::string& parent);
    ~ScratchFolder();
    ScratchFolder(const ScratchFolder&) = delete;
    ScratchFolder& operator=(const ScratchFolder&) = delete;

    const std::string& path() const { return m_path; }
    std::string file(const std::string& name) const { return m_path + "/" + name; }
    /// Writes a file (folders in `name` are made) and returns its path.
    std::string write(const std::string& name, ByteView content) const;
    std::string write(const std::string& name, std::string_view content) const;
    /// A copy of another file under `name`.
    std::string copy(const std::string& from, const std::string& name) const;

private:
    std::string m_path;
};

/// A folder whose files are kept in memory, for large ones; the usual one where there is none.
std::string memoryFolder();

Bytes readFile(const std::string& path);

/// Runs a shell command; its exit status, output thrown away.
int run(const std::string& command);
/// Runs a shell command; its standard output. Throws std::runtime_error when it does not exit with 0.
std::string outputOf(const std::string& command);
/// True when a program of that name is on the PATH.
bool haveProgram(const std::string& name);
/// The text in single quotes, safe as one word of a shell command.
std::string shellQuoted(const std::string& text);

} // namespace mv::test
