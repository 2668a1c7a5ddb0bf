#pragma once

#include "cli/FileNames.h"

#include <optional>
#include <vector>

namespace mv::cli {

/// Files that are described with one call.
using FileBatch = std::vector<NamedFile>;

/// Puts files together for calls: few at first, so that something is there soon, then more. Nobody waits for a batch to
/// be full: where a list is still being written, one that has a single file goes.
class FactBatches {
public:
    static constexpr std::size_t FirstFiles = 16;
    static constexpr std::size_t MostFiles = 256;

    explicit FactBatches(FileNames& names)
        : m_names(names)
    {
    }

    /// Nothing at the end.
    std::optional<FileBatch> next();

private:
    FileNames& m_names;
    std::size_t m_most = FirstFiles;
};

/// How many batches are under way where nobody says: one for each core, and one that is on its way.
std::size_t usualJobs();
inline constexpr int MaxJobs = 64;
inline constexpr Option CallsOption { "jobs", "N", "so many calls of the service are under way at once, 1 to 64", 0,
    numberFrom(1, MaxJobs) };

} // namespace mv::cli
