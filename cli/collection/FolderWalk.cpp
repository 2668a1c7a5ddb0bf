#include "cli/collection/FolderWalk.h"

#include "Base/Core/Handle.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <dirent.h>
#include <limits>
#include <memory>
#include <sys/stat.h>

namespace mv::cli {

namespace {

Error unreadable(int code)
{
    std::string sentence = code == ENOENT ? "there is no such folder"
        : code == ENOTDIR                 ? "is no folder"
                                          : std::string("cannot be read: ") + std::strerror(code);
    return { Error::Kind::NotFound, sentence, code };
}

enum class FileKind { File, Folder, Other };

FileKind kindOf(mode_t mode)
{
    return S_ISREG(mode) ? FileKind::File : S_ISDIR(mode) ? FileKind::Folder : FileKind::Other;
}

/// Asks the file system where the folder's list does not tell, and where a link leads.
FileKind kindOf(const std::string& path, unsigned char type)
{
    if (type == DT_REG)
        return FileKind::File;
    if (type == DT_DIR)
        return FileKind::Folder;
    struct stat facts { };
    if (type != DT_UNKNOWN && type != DT_LNK)
        return FileKind::Other;
    if (type == DT_UNKNOWN && (lstat(path.c_str(), &facts) != 0 || !S_ISLNK(facts.st_mode)))
        return kindOf(facts.st_mode);
    bool leadsToFile = stat(path.c_str(), &facts) == 0 && S_ISREG(facts.st_mode);
    return leadsToFile ? FileKind::File : FileKind::Other;
}

} // namespace

FolderWalk::FolderWalk(std::string folder)
{
    while (folder.size() > 1 && folder.ends_with('/'))
        folder.pop_back();
    std::string path = folder;
    if (auto failure = enter(std::move(folder)))
        m_rootFailure = Found { std::move(path), std::move(failure) };
}

std::optional<FolderWalk::Found> FolderWalk::next()
{
    if (m_rootFailure)
        return std::exchange(m_rootFailure, std::nullopt);
    while (!m_levels.empty()) {
        Level& level = m_levels.back();
        if (level.at == level.sorted.size()) {
            m_levels.pop_back();
            continue;
        }
        const Level::Name& name = level.sorted[level.at++];
        std::string path = level.path + (level.path.ends_with('/') ? "" : "/") + (level.names.c_str() + name.place);
        switch (kindOf(path, name.type)) {
        case FileKind::File:
            return Found { std::move(path), std::nullopt };
        case FileKind::Folder:
            if (auto failure = enter(path))
                return Found { std::move(path), std::move(failure) };
            break;
        case FileKind::Other:
            break;
        }
    }
    return std::nullopt;
}

std::optional<Error> FolderWalk::enter(std::string path)
{
    std::unique_ptr<DIR, CloseWith<closedir>> folder(opendir(path.c_str()));
    if (!folder)
        return unreadable(errno);
    Level level { std::move(path), {}, {}, 0 };
    errno = 0;
    while (const dirent* entry = readdir(folder.get())) {
        if (entry->d_name[0] == '.')
            continue;
        if (level.names.size() > std::numeric_limits<std::uint32_t>::max())
            return unreadable(EFBIG);
        level.sorted.push_back({ static_cast<std::uint32_t>(level.names.size()), entry->d_type });
        level.names.append(entry->d_name).push_back('\0');
        errno = 0;
    }
    if (errno != 0)
        return unreadable(errno);
    std::ranges::sort(level.sorted, [&](const Level::Name& one, const Level::Name& other) {
        return std::strcmp(level.names.c_str() + one.place, level.names.c_str() + other.place) < 0;
    });
    m_levels.push_back(std::move(level));
    return std::nullopt;
}

bool precedes(std::string_view path, std::string_view other)
{
    auto [first, second] = std::ranges::mismatch(path, other);
    if (first == path.end() || second == other.end())
        return first == path.end() && second != other.end();
    // A name ends where the next begins, and comes before the longer ones that begin with it.
    auto weight = [](char byte) { return byte == '/' ? 0 : static_cast<unsigned char>(byte) + 1; };
    return weight(*first) < weight(*second);
}

bool isWithin(std::string_view path, std::string_view folder)
{
    if (!path.starts_with(folder) || folder.empty())
        return false;
    return path.size() == folder.size() || folder.ends_with('/') || path[folder.size()] == '/';
}

} // namespace mv::cli
