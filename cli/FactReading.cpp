#include "cli/FactReading.h"

#include "Base/Core/FileUri.h"
#include "Base/Core/Text.h"
#include "bus/Wire.h"
#include "cli/ServiceAccess.h"
#include "cli/Terminal.h"
#include "client/WholePath.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <filesystem>
#include <sys/stat.h>

namespace mv::cli {

namespace {

namespace fs = std::filesystem;

/// As the service would say it.
Error serviceError(MediaErrorKind kind, const char* text)
{
    return { Error::Kind::NotFound, text, 0, std::string(MediaErrorPrefix) + std::string(nameOf(kind)) };
}

Error serviceErrorOf(int code)
{
    if (code == ENOENT || code == ENOTDIR)
        return serviceError(MediaErrorKind::NotFound, "there is no such file");
    if (code == EACCES || code == EPERM)
        return serviceError(MediaErrorKind::AccessDenied, "cannot be read");
    return serviceError(MediaErrorKind::Failed, std::strerror(code));
}

std::string wholeUri(const std::string& name)
{
    std::error_code failure;
    return fileUri(fs::absolute(name, failure).native());
}

const char* notRegular(const std::string& name)
{
    struct stat facts { };
    bool isFolder = stat(name.c_str(), &facts) == 0 && S_ISDIR(facts.st_mode);
    return isFolder ? "is a folder" : "is not a regular file";
}

/// The service's sentence, without the name with which it begins and the full stop: both are said around it.
std::string sentenceWithout(std::string_view name, std::string_view text)
{
    std::string begin = "\"" + cleanedUtf8(fs::path(name).filename().native()) + "\" ";
    if (text.starts_with(begin))
        text.remove_prefix(begin.size());
    if (text.ends_with('.'))
        text.remove_suffix(1);
    return std::string(text);
}

} // namespace

Result<std::optional<std::string>> carriedPath(const std::string& name)
{
    if (name.find('\0') != std::string::npos)
        return Error { Error::Kind::NotFound, "the name holds a zero byte; is --null missing?" };
    auto path = wholePath(name);
    if (path && isWireText(*path))
        return std::optional(std::move(*path));
    if (name.empty())
        return path.error();
    return std::optional<std::string> {};
}

Result<UniqueFd> openForService(const std::string& name)
{
    // Opening a device may do something, and a FIFO would be waited for.
    struct stat facts { };
    if (stat(name.c_str(), &facts) != 0)
        return serviceErrorOf(errno);
    if (!S_ISREG(facts.st_mode))
        return serviceError(MediaErrorKind::NotRegular, "is not a regular file");
    UniqueFd file(open(name.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY));
    if (!file)
        return serviceErrorOf(errno);
    return file;
}

Result<std::unique_ptr<FactReading>> FactReading::open()
{
    auto bus = ServiceBus::open();
    if (!bus)
        return noConnection(bus.error());
    return std::unique_ptr<FactReading>(new FactReading(std::move(bus).value()));
}

std::vector<Result<DescribedFile>> FactReading::describe(const std::vector<std::string>& names)
{
    std::vector<Result<Facts>> found(names.size(), Facts());
    std::vector<std::string> paths;
    std::vector<std::size_t> places;
    for (std::size_t i = 0; i < names.size(); ++i) {
        auto path = carriedPath(names[i]);
        if (path && *path) {
            paths.push_back(std::move(**path));
            places.push_back(i);
        } else {
            found[i] = path ? describeOpened(names[i]) : path.error();
        }
    }
    std::vector<Result<Facts>> many = describeEach(m_client, paths);
    for (std::size_t i = 0; i < many.size(); ++i)
        found[places[i]] = std::move(many[i]);
    std::vector<Result<DescribedFile>> files;
    files.reserve(names.size());
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (found[i])
            files.emplace_back(DescribedFile(names[i], std::move(*found[i])));
        else
            files.emplace_back(found[i].error());
    }
    return files;
}

Result<Facts> FactReading::describeOpened(const std::string& name)
{
    MV_TRY(file, openForService(name));
    std::string shownName = cleanedUtf8(fs::path(name).filename().native());
    MV_TRY(description, m_client.call(describeFileRequest(file.get(), std::move(shownName))));
    description.facts.set(fact::Url, wholeUri(name));
    return std::move(description.facts);
}

std::vector<Result<Facts>> describeEach(Media1Client& client, const std::vector<std::string>& paths)
{
    std::vector<Result<Facts>> found;
    found.reserve(paths.size());
    while (found.size() < paths.size()) {
        auto first = paths.begin() + static_cast<std::ptrdiff_t>(found.size());
        auto count = std::min(paths.size() - found.size(), MaxDescribedPaths);
        std::vector<std::string> some(first, first + static_cast<std::ptrdiff_t>(count));
        auto answer = client.call(describeManyRequest(some));
        for (std::size_t i = 0; i < some.size(); ++i) {
            Result<Facts> one = answer ? std::move((*answer)[i]) : Result<Facts>(answer.error());
            // One answer has only so much room for texts, and alone every file has all of it.
            if (!one && mediaErrorKind(one.error()) == MediaErrorKind::TooLarge) {
                auto alone = client.call(describeRequest(some[i]));
                one = alone ? Result<Facts>(std::move(alone->facts)) : Result<Facts>(alone.error());
            }
            found.push_back(std::move(one));
        }
    }
    return found;
}

bool isNotMedia(const Error& error) { return mediaErrorKind(error) == MediaErrorKind::NotMedia; }

FactFailure failureOf(const std::string& name, const Error& error)
{
    auto kind = mediaErrorKind(error);
    if (!kind)
        return { sentenceFor(error), error.name };
    switch (*kind) {
    case MediaErrorKind::NotFound:
        return { "there is no such file", error.name };
    case MediaErrorKind::AccessDenied:
        return { "cannot be read: Permission denied", error.name };
    case MediaErrorKind::NotRegular:
        return { notRegular(name), error.name };
    case MediaErrorKind::NoPicture:
        return { "has no picture", error.name };
    case MediaErrorKind::NotMedia:
        return { "is no audio, video or picture file", error.name };
    default:
        return { sentenceWithout(name, error.text), error.name };
    }
}

} // namespace mv::cli
