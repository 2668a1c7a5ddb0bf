#pragma once

#include "cli/Destination.h"
#include "cli/JobFolder.h"

#include <map>
#include <optional>

namespace mv::cli {

/// One output of a job: where the service makes it, and where it goes when it is whole.
struct JobOutput {
    Destination destination;
    std::shared_ptr<JobFolder> folder;
    Path made; ///< in the folder
    bool mayReplace = false;

    /// Puts what was made in its place.
    Result<void> deliver() const { return destination.take(made, mayReplace); }
};

/// Finds the places of a command's outputs.
class JobOutputs {
public:
    /// `ending` is what the made file's name ends with.
    JobOutputs(Overwriting overwriting, std::string ending)
        : m_overwriting(overwriting)
        , m_ending(std::move(ending))
    {
    }

    /// Nothing for an output that is there and is to be skipped; fails for one that is there and must not be replaced,
    /// and for one that is the input itself.
    Result<std::optional<JobOutput>> placeFor(const Path& input, const std::string& output);

private:
    Result<std::shared_ptr<JobFolder>> folderIn(const Path& folder);

    Overwriting m_overwriting;
    std::string m_ending;
    std::map<std::string, std::shared_ptr<JobFolder>> m_folders;
    std::size_t m_made = 0;
};

} // namespace mv::cli
