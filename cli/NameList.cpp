#include "cli/NameList.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <iterator>

namespace mv::cli {

namespace {

Error unreadable(const std::string& list, int code)
{
    return { Error::Kind::Io, list + ": the list cannot be read: " + std::strerror(code), code };
}

} // namespace

NameList::NameList(std::FILE* from, bool isOurs, bool endedByZero)
    : m_from(from)
    , m_owner(isOurs ? from : nullptr)
    , m_end(endedByZero ? '\0' : '\n')
{
}

Result<NameList> NameList::open(const std::string& list, bool endedByZero)
{
    if (list == "-")
        return NameList(stdin, false, endedByZero);
    std::FILE* file = std::fopen(list.c_str(), "re");
    if (!file)
        return unreadable(list, errno);
    return NameList(file, true, endedByZero);
}

Result<std::optional<std::string>> NameList::next()
{
    char* line = nullptr;
    std::size_t room = 0;
    errno = 0;
    ssize_t length = getdelim(&line, &room, m_end, m_from);
    while (length == 1 && line[0] == m_end)
        length = getdelim(&line, &room, m_end, m_from);
    std::unique_ptr<char, CloseWith<std::free>> owner(line);
    if (length < 0 && std::ferror(m_from))
        return unreadable(m_owner ? "--files-from" : "standard input", errno);
    if (length < 0)
        return std::optional<std::string> {};
    std::string name(line, static_cast<std::size_t>(length));
    // The last name may lack its end.
    if (name.ends_with(m_end))
        name.pop_back();
    return std::optional(std::move(name));
}

NameSource::NameSource(std::vector<std::string> names, std::vector<NameList> lists)
    : m_names(std::make_move_iterator(names.begin()), std::make_move_iterator(names.end()))
    , m_lists(std::make_move_iterator(lists.begin()), std::make_move_iterator(lists.end()))
{
}

std::optional<std::string> NameSource::next()
{
    if (!m_names.empty()) {
        std::string name = std::move(m_names.front());
        m_names.pop_front();
        return name;
    }
    while (!m_lists.empty()) {
        auto name = m_lists.front().next();
        if (name && *name)
            return *name;
        if (!name)
            m_failure = name.error();
        m_lists.pop_front();
    }
    return std::nullopt;
}

} // namespace mv::cli
