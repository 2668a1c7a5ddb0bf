#include "tests/support/Scratch.h"

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <stdexcept>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {

ScratchFolder::ScratchFolder()
    : ScratchFolder(std::filesystem::temp_directory_path().string())
{
}

ScratchFolder::ScratchFolder(const std::string& parent)
{
    std::string pattern = parent + "/mivo-test-XXXXXX";
    if (!mkdtemp(pattern.data()))
        throw std::runtime_error("no scratch folder");
    m_path = pattern;
}

ScratchFolder::~ScratchFolder()
{
    std::error_code ignored;
    std::filesystem::remove_all(m_path, ignored);
}

std::string ScratchFolder::write(const std::string& name, ByteView content) const
{
    return write(name, charsOf(content));
}

std::string ScratchFolder::write(const std::string& name, std::string_view content) const
{
    std::string path = file(name);
    std::filesystem::create_directories(std::filesystem::path(path).parent_path());
    std::ofstream out(path, std::ios::binary);
    out.write(content.data(), static_cast<std::streamsize>(content.size()));
    if (!out.flush())
        throw std::runtime_error("cannot write " + path);
    return path;
}

std::string ScratchFolder::copy(const std::string& from, const std::string& name) const
{
    std::filesystem::copy_file(from, file(name), std::filesystem::copy_options::overwrite_existing);
    std::filesystem::permissions(file(name), std::filesystem::perms::owner_write, std::filesystem::perm_options::add);
    return file(name);
}

std::string memoryFolder()
{
    const char* shared = "/dev/shm";
    return access(shared, W_OK) == 0 ? shared : std::filesystem::temp_directory_path().string();
}

Bytes readFile(const std::string& path)
{
    std::ifstream in(path, std::ios::binary);
    if (!in)
        throw std::runtime_error("cannot read " + path);
    return { std::istreambuf_iterator<char>(in), {} };
}

int run(const std::string& command)
{
    int status = std::system(("{ " + command + " ; } >/dev/null 2>&1").c_str());
    return WIFEXITED(status) ? WEXITSTATUS(status) : -1;
}

std::string outputOf(const std::string& command)
{
    std::FILE* pipe = popen(command.c_str(), "r");
    if (!pipe)
        throw std::runtime_error("cannot run " + command);
    std::string output;
    std::array<char, 65536> buffer;
    while (std::size_t count = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), count);
    if (pclose(pipe) != 0)
        throw std::runtime_error("failed: " + command);
    return output;
}

bool haveProgram(const std::string& name) { return run("command -v " + shellQuoted(name)) == 0; }

std::string shellQuoted(const std::string& text)
{
    std::string out = "'";
    for (char c : text)
        out += c == '\'' ? std::string("'\\''") : std::string(1, c);
    return out + "'";
}

} // namespace mv::test
