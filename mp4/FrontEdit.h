#pragma once

#include "mp4/MovieSummary.h"

#include <optional>

namespace mv {

/// Gives a file another beginning, an ID3v2 tag, to be performed by FileReplacement. The tables of an MPEG-4 file count
/// from the start of the file, so that a beginning of another size would lead every player astray: they are moved
/// along.
class FrontEdit {
public:
    /// The file's new content: `front` in place of its first `oldSize` bytes, and the same bytes behind it; of an
    /// MPEG-4 file with every offset moved. Fails with Unsupported where offsets cannot be moved safely. May be asked
    /// again.
    Result<FileContent> plan(StructureReader current, std::uint64_t oldSize, Bytes front);
    /// Of what was made by the last plan: an MPEG-4 file has the metadata, the tracks and the samples that it had.
    Result<void> check(StructureReader made) const;

private:
    FileContent m_outline;
    std::optional<MovieSummary> m_movie; // nothing for other files
};

} // namespace mv
