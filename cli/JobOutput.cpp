#include "cli/JobOutput.h"

#include "cli/InputPath.h"

#include <filesystem>

namespace mv::cli {

Result<std::optional<JobOutput>> JobOutputs::placeFor(const Path& input, const std::string& output)
{
    MV_TRY(destination, Destination::find(output));
    if (destination.exists()) {
        if (sameFile(input, destination.path()))
            return Error { Error::Kind::State, "input and output are the same file" };
        if (m_overwriting == Overwriting::Skip)
            return std::optional<JobOutput> {};
        if (m_overwriting == Overwriting::Refuse)
            return Error { Error::Kind::State, "is there already; --force replaces it, --no-clobber skips it" };
    }
    // A stream takes what was finished elsewhere.
    std::error_code none;
    Path folder = destination.isFile() ? Path(std::string(destination.path().directory()))
                                       : Path(std::filesystem::temp_directory_path(none).native());
    MV_TRY(jobFolder, folderIn(folder));
    Path made = jobFolder->file(std::to_string(m_made++) + m_ending);
    return std::optional(JobOutput { destination, jobFolder, made, m_overwriting == Overwriting::Replace });
}

Result<std::shared_ptr<JobFolder>> JobOutputs::folderIn(const Path& folder)
{
    auto& known = m_folders[folder.text()];
    if (!known) {
        MV_TRY(made, JobFolder::makeIn(folder));
        known = std::move(made);
    }
    return known;
}

} // namespace mv::cli
