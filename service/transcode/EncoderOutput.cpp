#include "service/transcode/EncoderOutput.h"

#include "Base/Core/Handle.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace mv {

namespace {

bool isSameFile(int fd, const Path& path)
{
    struct stat one { };
    struct stat other { };
    return fstat(fd, &one) == 0 && stat(path.c_str(), &other) == 0 && one.st_dev == other.st_dev
        && one.st_ino == other.st_ino;
}

// A second of sound or two go to the disk at once.
constexpr std::size_t WriteBuffer = 1 << 16;

bool makeEmpty(int fd)
{
    struct stat facts { };
    return fstat(fd, &facts) == 0 && (!S_ISREG(facts.st_mode) || ftruncate(fd, 0) == 0);
}

} // namespace

EncoderOutput::~EncoderOutput()
{
    if (m_file)
        std::fclose(m_file);
}

bool EncoderOutput::open(const Path& output, const Path& input)
{
    // Emptied only after the check: opening with O_TRUNC would destroy an input that is named twice.
    constexpr mode_t Permissions = 0666;
    UniqueFd fd(::open(output.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC | O_NONBLOCK | O_NOCTTY, Permissions));
    if (!fd || isSameFile(fd.get(), input) || !makeEmpty(fd.get()))
        return false;
    m_file = fdopen(fd.get(), "wb");
    if (m_file) {
        fd.release();
        std::setvbuf(m_file, nullptr, _IOFBF, WriteBuffer);
    }
    return m_file != nullptr;
}

bool EncoderOutput::write(ByteView bytes)
{
    return bytes.empty() || std::fwrite(bytes.data(), 1, bytes.size(), m_file) == bytes.size();
}

bool EncoderOutput::seek(std::uint64_t offset) { return fseeko(m_file, static_cast<off_t>(offset), SEEK_SET) == 0; }

bool EncoderOutput::close()
{
    std::FILE* file = std::exchange(m_file, nullptr);
    return !file || std::fclose(file) == 0;
}

void EncoderOutput::remove(const Path& output) { unlink(output.c_str()); }

} // namespace mv
