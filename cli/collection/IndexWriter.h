#pragma once

#include "cli/collection/IndexFile.h"

#include <chrono>
#include <string_view>

namespace mv::cli {

/// Writes the lines of an index, in their order.
///
/// A first run, and one that goes on where another was killed, adds to the file itself. An update makes the next index
/// beside it, which takes its place at the end. It begins with as much of the file's front as stays as it is, and where
/// that is all of it nothing is written. What is written is on the disk some seconds later, and all of it at the end.
class IndexWriter {
public:
    enum class Way { Add, Update };

    /// The file outlives the writer.
    IndexWriter(const IndexFile& file, Way way)
        : m_file(file)
        , m_way(way)
    {
    }

    /// Whole lines with their ends; a failure leaves none of them. `kept` is how many bytes of the file's front come
    /// before everything that is added.
    Result<void> add(std::string_view lines, std::uint64_t kept);
    Result<void> finish(std::uint64_t kept);

private:
    using Clock = std::chrono::steady_clock;

    int target() const { return m_part ? m_part.get() : m_file.descriptor(); }
    Result<void> makePart(std::uint64_t kept);
    Result<void> write(std::string_view lines);

    const IndexFile& m_file;
    Way m_way;
    UniqueFd m_part;
    Clock::time_point m_lastSync = Clock::now();
};

/// Writes all of it at the end of a file, continued after interruptions; 0, or the errno of the write that failed.
int writeWhole(int file, std::string_view text);

} // namespace mv::cli
