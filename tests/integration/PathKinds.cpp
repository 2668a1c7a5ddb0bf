#include "tests/integration/PathKinds.h"

#include <algorithm>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <fstream>
#include <set>
#include <stdexcept>
#include <sys/socket.h>
#include <sys/stat.h>
#include <sys/sysmacros.h>
#include <sys/un.h>
#include <unistd.h>

namespace mv::test {

namespace {

void check(bool done, const char* what)
{
    if (!done)
        throw std::runtime_error(std::string(what) + ": " + std::strerror(errno));
}

} // namespace

PathKinds::PathKinds(ByteView content, std::string_view extension)
    : m_content(content.begin(), content.end())
    , m_extension(extension)
{
    m_folder.write(name("regular"), content);
    m_folder.write(name("empty"), ByteView {});
    check(mkdir(path("folder").c_str(), 0700) == 0, "folder");
    check(mkfifo(path("fifo").c_str(), 0600) == 0, "fifo");
    check(symlink(name("missing").c_str(), path("dangling-link").c_str()) == 0, "link");
    check(symlink(name("loop").c_str(), path("loop").c_str()) == 0, "link");
    m_folder.write("behind-the-link" + m_extension, content);
    check(symlink(("behind-the-link" + m_extension).c_str(), path("link").c_str()) == 0, "link");
    makeGuarded(content);
    makeDevice();
    makeSocket();
    openNameless(content);
}

PathKinds::~PathKinds()
{
    setGuarded(false);
    close(m_nameless);
    close(m_socket);
}

void PathKinds::makeGuarded(ByteView content) const
{
    m_folder.write(name("unreadable"), content);
    m_folder.write(name("unwritable"), content);
    m_folder.write("locked/" + name("file"), content);
    check(chmod(path("unwritable").c_str(), 0400) == 0, "mode");
    setGuarded(true);
}

void PathKinds::setGuarded(bool guarded) const
{
    chmod(m_folder.file("locked").c_str(), guarded ? 0 : 0700);
    chmod(path("unreadable").c_str(), guarded ? 0 : 0600);
}

// A node of the test's own: a service that replaced what it was given would replace a real one.
void PathKinds::makeDevice() const
{
    constexpr unsigned MemoryMajor = 1;
    constexpr unsigned NullMinor = 3;
    if (mknod(path("device").c_str(), S_IFCHR | 0600, makedev(MemoryMajor, NullMinor)) != 0) {
        check(geteuid() != 0, "device");
        check(symlink("/dev/null", path("device").c_str()) == 0, "device"); // nobody but root can harm it
    }
}

void PathKinds::makeSocket()
{
    m_socket = socket(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0);
    sockaddr_un address {};
    address.sun_family = AF_UNIX;
    path("socket").copy(address.sun_path, sizeof address.sun_path - 1);
    check(bind(m_socket, reinterpret_cast<sockaddr*>(&address), sizeof address) == 0, "socket");
}

// A file that vanished while it was open: its descriptor leads to it, no folder does.
void PathKinds::openNameless(ByteView content)
{
    std::string made = m_folder.write("vanishes", content);
    m_nameless = ::open(made.c_str(), O_RDONLY | O_CLOEXEC);
    check(m_nameless >= 0 && unlink(made.c_str()) == 0, "nameless");
}

std::string PathKinds::name(std::string_view kind) const { return std::string(kind) + m_extension; }

std::string PathKinds::path(std::string_view kind) const
{
    if (kind == "nil")
        return "";
    if (kind == "no-folder")
        return m_folder.file("no-such-folder/" + name("file"));
    if (kind == "locked-folder")
        return m_folder.file("locked/" + name("file"));
    if (kind == "nameless")
        return "/proc/" + std::to_string(getpid()) + "/fd/" + std::to_string(m_nameless);
    if (kind == "unsized") // says 0 bytes and holds some
        return "/proc/version";
    return m_folder.file(name(kind));
}

std::string PathKinds::leftAt(std::string_view kind) const
{
    setGuarded(false);
    std::string left = kindOfFileAt(kind);
    setGuarded(true);
    return left;
}

std::string PathKinds::kindOfFileAt(std::string_view kind) const
{
    struct stat status { };
    if (kind == "nil" || lstat(path(kind).c_str(), &status) != 0)
        return "nothing";
    if (S_ISLNK(status.st_mode))
        return stat(path(kind).c_str(), &status) != 0 ? "a dangling link" : "a link";
    if (S_ISDIR(status.st_mode))
        return "a folder";
    if (S_ISFIFO(status.st_mode))
        return "a fifo";
    if (S_ISCHR(status.st_mode))
        return "a device";
    if (S_ISSOCK(status.st_mode))
        return "a socket";
    if (status.st_size == 0)
        return "an empty file";
    return readFile(path(kind)) == m_content ? "the old file" : "a new file";
}

std::string PathKinds::withoutFolder(std::string text) const
{
    for (const auto& [what, instead] : { std::pair { path("nameless"), std::string("NAMELESS") },
             std::pair { m_folder.path(), std::string("FOLDER") } }) {
        for (std::size_t at = text.find(what); at != std::string::npos; at = text.find(what))
            text.replace(at, what.size(), instead);
    }
    return text;
}

std::vector<std::string> PathKinds::strangers() const
{
    std::set<std::string> made { "behind-the-link" + m_extension, "locked" };
    for (std::string_view kind : AllPathKinds)
        made.insert(name(kind));
    std::vector<std::string> strangers;
    for (const auto& entry : std::filesystem::directory_iterator(m_folder.path())) {
        if (!made.contains(entry.path().filename()))
            strangers.push_back(entry.path().filename());
    }
    std::sort(strangers.begin(), strangers.end());
    return strangers;
}

} // namespace mv::test
