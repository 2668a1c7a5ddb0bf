#include <mivo/File.h>

#include "system/SystemError.h"

#include <cerrno>
#include <fcntl.h>
#include <mivo/Error.h>
#include <sys/stat.h>
#include <unistd.h>
#include <utility>

namespace mivo {

namespace {

Error::Kind kindOf(mv::Error::Kind kind)
{
    switch (kind) {
    case mv::Error::Kind::NotFound:
        return Error::Kind::NotFound;
    case mv::Error::Kind::Access:
        return Error::Kind::AccessDenied;
    default:
        return Error::Kind::Failed;
    }
}

[[noreturn]] void fail(int code)
{
    const mv::Error error = mv::systemError(code);
    throw Error(kindOf(error.kind), error.text, {}, code);
}

} // namespace

File::File() noexcept
    : m_descriptor(-1)
{
}

File::File(int descriptor) noexcept
    : m_descriptor(descriptor)
{
}

File File::open(const std::string& path)
{
    // A FIFO does not keep the caller.
    int descriptor = ::open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor < 0)
        fail(errno);
    return File(descriptor);
}

File::File(File&& other) noexcept
    : m_descriptor(other.release())
{
}

File& File::operator=(File&& other) noexcept
{
    if (this != &other) {
        File old(std::exchange(m_descriptor, other.release()));
    }
    return *this;
}

File::~File()
{
    if (m_descriptor >= 0)
        ::close(m_descriptor);
}

int File::descriptor() const noexcept { return m_descriptor; }

int File::release() noexcept { return std::exchange(m_descriptor, -1); }

Bytes File::content(std::size_t most) const
{
    struct stat facts { };
    if (fstat(m_descriptor, &facts) != 0)
        fail(errno);
    if (!S_ISREG(facts.st_mode))
        throw Error(Error::Kind::NotRegular, "is no regular file");
    if (static_cast<std::size_t>(facts.st_size) > most)
        throw Error(Error::Kind::TooLarge, "is larger than is to be read");
    Bytes content(static_cast<std::size_t>(facts.st_size));
    for (std::size_t done = 0; done < content.size();) {
        ssize_t count = pread(m_descriptor, content.data() + done, content.size() - done, static_cast<off_t>(done));
        if (count < 0 && errno != EINTR)
            fail(errno);
        if (count == 0)
            content.resize(done); // it was cut meanwhile
        done += count > 0 ? static_cast<std::size_t>(count) : 0;
    }
    return content;
}

} // namespace mivo
