#include "cli/MediaFolder.h"

#include "cli/collection/FolderWalk.h"
#include "thumbnailer/ThumbnailTypes.h"

#include <filesystem>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

Error problem(const std::error_code& failure)
{
    bool isMissing = failure == std::errc::no_such_file_or_directory;
    return { Error::Kind::NotFound, isMissing ? "there is no such file or folder" : failure.message(),
        failure.value() };
}

/// Where a link leads, or the name itself; empty where that is nowhere.
std::string realName(const fs::path& name)
{
    std::error_code failure;
    return fs::canonical(name, failure).native();
}

class Walk {
public:
    Walk(const std::string& without, std::vector<std::string>& files, const FolderFailure& failed)
        : m_without(realName(without))
        , m_files(files)
        , m_failed(failed)
    {
    }

    bool leavesOut(const fs::path& name) const { return isWithin(realName(name), m_without); }

    void walk(const std::string& folder)
    {
        m_folders.push_back(folder);
        while (!m_folders.empty()) {
            std::string next = std::move(m_folders.back());
            m_folders.pop_back();
            readFolder(next);
        }
    }

private:
    void readFolder(const std::string& folder)
    {
        std::error_code failure;
        fs::directory_iterator at(folder, failure);
        for (; !failure && at != fs::directory_iterator(); at.increment(failure))
            take(*at);
        if (failure)
            m_failed(folder, problem(failure));
    }

    void take(const fs::directory_entry& entry)
    {
        std::error_code failure;
        if (entry.path().filename().native().starts_with('.'))
            return;
        bool isLink = entry.is_symlink(failure);
        if (entry.is_directory(failure)) {
            if (!isLink && !leavesOut(entry.path()))
                m_folders.push_back(entry.path().native());
            return;
        }
        bool isWanted = !thumbnailTypeOf(entry.path().native()).empty() && entry.is_regular_file(failure);
        if (isWanted && !(isLink && leavesOut(entry.path())))
            m_files.push_back(entry.path().native());
    }

    const std::string m_without;
    std::vector<std::string>& m_files;
    const FolderFailure& m_failed;
    std::vector<std::string> m_folders;
};

} // namespace

std::string wholeName(const std::string& name)
{
    std::error_code failure;
    std::string whole = fs::absolute(name, failure).lexically_normal().native();
    while (whole.size() > 1 && whole.ends_with('/'))
        whole.pop_back();
    return whole;
}

Result<void> mediaFilesBelow(
    const std::string& folder, const std::string& without, std::vector<std::string>& files, const FolderFailure& failed)
{
    std::string whole = folder.empty() ? folder : wholeName(folder);
    std::error_code failure;
    fs::file_status status = fs::status(whole, failure);
    if (!fs::exists(status))
        return problem(failure ? failure : std::make_error_code(std::errc::no_such_file_or_directory));
    Walk walk(without, files, failed);
    if (walk.leavesOut(whole))
        return Error { Error::Kind::Unsupported, "is in the cache itself" };
    if (fs::is_directory(status))
        walk.walk(whole);
    else
        files.push_back(std::move(whole));
    return {};
}

} // namespace mv::cli
