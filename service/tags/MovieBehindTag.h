#pragma once

#include "mp4/MetadataItems.h"
#include "service/tags/Id3TagLayout.h"
#include "system/FileContent.h"

#include <optional>
#include <vector>

namespace mv {

// An MPEG-4 file may carry an ID3v2 tag in front of its boxes. Its tables count from the start of the file, so that a
// tag of another size would lead every player astray: they are moved along.

/// What follows the tags at the front, for a tag of the new size: the same bytes for everything that is no MPEG-4
/// file; for one that is, with every offset moved. Fails with Unsupported where offsets cannot be moved safely.
Result<FileContent> contentBehindTag(const InputFile& current, const Id3TagLayout& layout);

/// What must not change of an MPEG-4 file when the tag in front of it does.
struct MovieSummary {
    struct Track {
        std::uint32_t id = 0;
        std::uint64_t duration = 0;
        std::uint64_t samples = 0;
        std::uint64_t fragmentBytes = 0;
        bool operator==(const Track&) const = default;
    };

    std::vector<Track> tracks;
    MP4ItmfItemList items;

    /// Nothing for a file that is no MPEG-4 file.
    static std::optional<MovieSummary> of(const InputFile& file);
    bool operator==(const MovieSummary&) const = default;
};

} // namespace mv
