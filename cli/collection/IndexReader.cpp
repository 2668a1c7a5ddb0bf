#include "cli/collection/IndexReader.h"

#include "cli/collection/FolderWalk.h"

#include <cerrno>
#include <unistd.h>

namespace mv::cli {

namespace {

constexpr std::size_t ChunkBytes = 256 * 1024;

} // namespace

IndexReader::IndexReader(int file)
    : m_file(file)
{
    next();
}

void IndexReader::next()
{
    if (m_entry)
        m_lastPath = std::move(m_entry->path);
    m_entry.reset();
    m_begin += m_length;
    m_place += m_length;
    m_length = 0;
    if (m_file < 0 || m_damagedLine > 0 || !findLine())
        return;
    ++m_number;
    auto entry = readIndexLine(line().substr(0, m_length - 1));
    if (entry && (m_number == 1 || precedes(m_lastPath, entry->path))) {
        m_entry = std::move(entry);
        return;
    }
    m_damagedLine = m_number;
    m_length = 0;
}

/// Sets the length of the line that begins at m_begin.
bool IndexReader::findLine()
{
    std::size_t searched = m_begin;
    while (true) {
        auto end = m_buffer.find('\n', searched);
        if (end != std::string::npos) {
            m_length = end + 1 - m_begin;
            return true;
        }
        searched = m_buffer.size() - m_begin;
        if (searched > MostIndexLineBytes || !fill())
            return false;
    }
}

/// Drops what is behind us, and reads more; m_begin becomes 0.
bool IndexReader::fill()
{
    m_buffer.erase(0, m_begin);
    m_begin = 0;
    std::size_t before = m_buffer.size();
    m_buffer.resize(before + ChunkBytes);
    ssize_t got = -1;
    do {
        got = pread(m_file, m_buffer.data() + before, ChunkBytes, static_cast<off_t>(m_readTo));
    } while (got < 0 && errno == EINTR);
    m_buffer.resize(before + static_cast<std::size_t>(got > 0 ? got : 0));
    m_readTo += static_cast<std::uint64_t>(got > 0 ? got : 0);
    return got > 0;
}

} // namespace mv::cli
