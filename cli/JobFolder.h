#pragma once

#include "Base/Core/Handle.h"
#include "Base/Core/Path.h"
#include "Base/Core/Result.h"

#include <memory>

namespace mv::cli {

/// A hidden folder in which the service makes a job's output, so that a file appears under its own name only when it is
/// whole. Gone with everything in it at the end; one whose process was killed is removed by the next job beside it.
class JobFolder {
public:
    static Result<std::shared_ptr<JobFolder>> makeIn(const Path& folder);
    ~JobFolder();
    JobFolder(const JobFolder&) = delete;
    JobFolder& operator=(const JobFolder&) = delete;

    Path file(std::string_view name) const { return m_path.appending(name); }
    /// Another name for a file, one without an ending.
    Result<Path> linkTo(const Path& target) const;

private:
    JobFolder(Path path, UniqueFd lock)
        : m_path(std::move(path))
        , m_lock(std::move(lock))
    {
    }

    Path m_path;
    UniqueFd m_lock; // held for the folder's life: who can take it looks at what a killed process left
};

} // namespace mv::cli
