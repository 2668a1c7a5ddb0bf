#pragma once

#include "mp4/MetadataItems.h"
#include "system/FileContent.h"

namespace mv {

/// What must stay of a movie when a file is written anew around its media.
struct MovieSummary {
    struct Track {
        std::uint32_t id = 0;
        std::uint32_t handler = 0;
        std::uint64_t duration = 0; ///< in the track's time scale
        std::uint64_t samples = 0; ///< without fragments
        std::uint64_t fragmentBytes = 0;
        bool operator==(const Track&) const = default;
    };
    /// Samples that lie behind each other, of a track whose media are in this file.
    struct Chunk {
        std::uint64_t place = 0;
        std::uint64_t length = 0;
        bool operator==(const Chunk&) const = default;
    };

    std::uint64_t duration = 0; ///< in the movie's time scale
    std::vector<Track> tracks;
    std::vector<Chunk> chunks; ///< of all tracks in turn, without empty ones and those of fragments
    MP4ItmfItemList items;

    /// Of an MPEG-4, 3GP or QuickTime file; fails as readMovieFacts and readItems do.
    static Result<MovieSummary> of(StructureReader& reader);
    /// Of a file with this content: makes the places those of the file that the content is made from. A chunk that
    /// begins in new bytes has none there.
    void traceBack(const FileContent& outline);
    bool operator==(const MovieSummary&) const = default;
};

/// A content's stretches without the new bytes, to trace back by; those can be many.
FileContent outlineOf(const FileContent& content);

} // namespace mv
