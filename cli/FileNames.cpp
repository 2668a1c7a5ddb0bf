#include "cli/FileNames.h"

#include <sys/stat.h>

namespace mv::cli {

namespace {

bool isFolder(const std::string& name)
{
    struct stat facts { };
    return stat(name.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
}

} // namespace

Result<FileNames> FileNames::of(const Arguments& arguments)
{
    std::vector<NameList> lists;
    for (const std::string& list : arguments.values("files-from")) {
        MV_TRY(opened, NameList::open(list, arguments.has("null")));
        lists.push_back(std::move(opened));
    }
    return FileNames(NameSource(arguments.files(), std::move(lists)), arguments.has("recursive"));
}

const char* FileNames::slipIn(const Arguments& arguments)
{
    if (arguments.files().empty() && !arguments.has("files-from"))
        return "which file?";
    if (arguments.has("null") && !arguments.has("files-from"))
        return "--null is about the list of --files-from, and there is none";
    return nullptr;
}

std::optional<NamedFile> FileNames::next()
{
    while (true) {
        if (m_walk) {
            if (auto found = m_walk->next())
                return NamedFile { std::move(found->path), true, std::move(found->failure) };
            m_walk.reset();
        }
        auto name = m_names.next();
        if (!name)
            return std::nullopt;
        if (!m_entersFolders || !isFolder(*name))
            return NamedFile { std::move(*name) };
        m_walk.emplace(std::move(*name));
    }
}

} // namespace mv::cli
