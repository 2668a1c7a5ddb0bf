#include "libmivo/SourceContent.h"

#include "libmivo/WholeName.h"

#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <mivo/Error.h>
#include <utility>

namespace mivo {

namespace {

std::shared_ptr<const SourceContent> opened(int descriptor, std::string name)
{
    auto content = std::make_shared<SourceContent>();
    content->name = std::move(name);
    content->file.reset(fcntl(descriptor, F_DUPFD_CLOEXEC, 0));
    if (int code = errno; !content->file)
        throw Error(Error::Kind::InvalidArgument, std::strerror(code), {}, code);
    return content;
}

} // namespace

Source::Source(const char* path)
    : Source(std::string(path ? path : ""))
{
}

Source::Source(std::string path)
{
    auto content = std::make_shared<SourceContent>();
    content->name = wholeName(path);
    m_content = std::move(content);
}

Source::Source(const File& file, std::string name)
    : m_content(opened(file.descriptor(), std::move(name)))
{
}

Source Source::descriptor(int file, std::string name)
{
    Source made(std::string("/"));
    made.m_content = opened(file, std::move(name));
    return made;
}

Source::Source(const Source& other) = default;
Source& Source::operator=(const Source& other) = default;
Source::~Source() = default;

} // namespace mivo
