#pragma once

#include "cli/collection/IndexLine.h"

#include <cstdint>
#include <string>

namespace mv::cli {

/// Reads the lines of an index one after the other, in bounded memory. Ends at the first line that is none of an index,
/// or that does not come behind the one before.
class IndexReader {
public:
    /// Reads nothing.
    IndexReader() = default;
    /// From the file's beginning, whatever its position; the descriptor is borrowed.
    explicit IndexReader(int file);

    /// Null at the end.
    const IndexEntry* entry() const { return m_entry ? &*m_entry : nullptr; }
    /// The line of the entry with its end; until the next one is asked for.
    std::string_view line() const { return std::string_view(m_buffer).substr(m_begin, m_length); }
    void next();

    /// Where the line of the entry begins, in bytes; at the end, where the last one ended.
    std::uint64_t place() const { return m_place; }
    /// The number of the line, from 1, at which the file stops being an index; 0 where it does not. A last line without
    /// an end does not count.
    std::size_t damagedLine() const { return m_damagedLine; }

private:
    bool findLine();
    bool fill();

    int m_file = -1;
    std::uint64_t m_readTo = 0; ///< in the file
    std::string m_buffer;
    std::size_t m_begin = 0; ///< of the line in the buffer
    std::size_t m_length = 0;
    std::uint64_t m_place = 0;
    std::size_t m_number = 0;
    std::size_t m_damagedLine = 0;
    std::string m_lastPath;
    std::optional<IndexEntry> m_entry;
};

} // namespace mv::cli
