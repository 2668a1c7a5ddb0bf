#include "cli/NameList.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <iterator>
#include <poll.h>
#include <unistd.h>

namespace mv::cli {

namespace {

Error unreadable(const std::string& list, int code)
{
    return { Error::Kind::Io, list + ": the list cannot be read: " + std::strerror(code), code };
}

bool isReadable(int file, int patience)
{
    pollfd waiting { file, POLLIN, 0 };
    return poll(&waiting, 1, patience) > 0;
}

} // namespace

Result<NameList> NameList::open(const std::string& list, bool endedByZero)
{
    if (list == "-")
        return NameList("standard input", UniqueFd(), STDIN_FILENO, endedByZero);
    UniqueFd file(::open(list.c_str(), O_RDONLY | O_CLOEXEC));
    if (!file)
        return unreadable(list, errno);
    int from = file.get();
    return NameList(list, std::move(file), from, endedByZero);
}

Result<std::optional<std::string>> NameList::next()
{
    while (true) {
        if (auto name = takeName())
            return name;
        if (m_failure)
            return *m_failure;
        if (m_ended)
            return std::optional<std::string> {};
        read();
    }
}

bool NameList::isReady()
{
    while (!hasName() && !m_ended && !m_failure) {
        if (!isReadable(m_from, 0))
            return false;
        read();
    }
    return true;
}

bool NameList::hasName() const
{
    auto begin = m_text.find_first_not_of(m_end, m_at);
    return begin != std::string::npos && (m_ended || m_text.find(m_end, begin) != std::string::npos);
}

std::optional<std::string> NameList::takeName()
{
    if (!hasName())
        return std::nullopt;
    auto begin = m_text.find_first_not_of(m_end, m_at);
    // The last name may lack its end.
    auto end = std::min(m_text.find(m_end, begin), m_text.size());
    m_line += static_cast<std::size_t>(std::ranges::count(std::string_view(m_text).substr(m_at, begin - m_at), m_end));
    m_at = end;
    return m_text.substr(begin, end - begin);
}

/// Waits for more.
void NameList::read()
{
    m_text.erase(0, m_at);
    m_at = 0;
    std::array<char, 65536> chunk;
    ssize_t got = ::read(m_from, chunk.data(), chunk.size());
    if (got > 0)
        m_text.append(chunk.data(), static_cast<std::size_t>(got));
    else if (got == 0)
        m_ended = true;
    // Whoever shares the stream may have made it one that does not wait.
    else if (errno == EAGAIN)
        isReadable(m_from, -1);
    else if (errno != EINTR)
        m_failure = unreadable(m_list, errno);
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
