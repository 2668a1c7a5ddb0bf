#pragma once

#include "mp4/MovieFacts.h"
#include "mp4/Tags.h"
#include "system/EditableFile.h"

#include <memory>

namespace mv {

/// Names a track of an open file: the id that the file gives it. Where that is 0, or an earlier track's, a number that
/// no track of the file has.
using MP4TrackId = std::uint32_t;
inline constexpr MP4TrackId MP4_INVALID_TRACK_ID = 0;

/// An open MPEG-4, 3GP or QuickTime file. Its structure is read at once, metadata and sample sizes when they are asked
/// for. Used by one thread at a time.
class Mp4File {
public:
    /// Fails for what has no whole movie box with a movie header.
    static Result<Mp4File> open(StructureReader reader);

    Mp4File(Mp4File&&) noexcept;
    Mp4File& operator=(Mp4File&&) noexcept;
    ~Mp4File();

    const MovieFacts& facts() const;
    /// Of the tracks in facts(), in the same order.
    const std::vector<MP4TrackId>& trackIds() const;
    /// The metadata items; none where they cannot be read.
    const MP4ItmfItemList& items();
    StructureReader& reader();

private:
    struct State;
    explicit Mp4File(std::unique_ptr<State> state);
    std::unique_ptr<State> m_state;
};

/// Of a file's content. Fails with the content's own error, and for what has no whole movie box with a movie header.
Result<Mp4File> MP4Read(Result<SharedSource> content);
/// The same; fails also for a file that may not be written. `flags` must be 0. MetadataEdit changes it.
Result<Mp4File> MP4Modify(const EditableFile& file, std::uint32_t flags);

/// The id of the `index`-th track (from 0, in the file's order) whose handler is `type` ("soun", "vide"; null: any)
/// and, where `subType` is not 0, whose MPEG-4 object type is `subType`. MP4_INVALID_TRACK_ID when there is none.
MP4TrackId MP4FindTrackId(const Mp4File& file, std::uint16_t index, const char* type, std::uint8_t subType);
/// In ticks of the track's time scale, fragments counted; 0 when unknown, or there is no such track.
std::uint64_t MP4GetTrackDuration(const Mp4File& file, MP4TrackId track);
/// Ticks per second; 0 when there is no such track.
std::uint32_t MP4GetTrackTimeScale(const Mp4File& file, MP4TrackId track);
/// Bits per second: the average that the track's decoder configuration states, or where it states none, all sample
/// bytes x 8,000 / duration in milliseconds, fractions of the result cut off; 0 when the duration is 0.
std::uint32_t MP4GetTrackBitRate(Mp4File& file, MP4TrackId track);

/// Every metadata item, in the file's order.
MP4ItmfItemList MP4ItmfGetItems(Mp4File& file);

} // namespace mv
