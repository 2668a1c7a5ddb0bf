#pragma once

#include "Base/Media/Record.h"
#include "service/tags/Id3FrameList.h"

#include <optional>
#include <span>
#include <vector>

namespace mv {

/// What a media information record asks of an ID3 tag, worked out once from the record.
///
/// The record is the complete state of title, album, artist, comment and composer: a key that is missing or null
/// removes them. Genre, track and pictures stay when their key is missing.
class Id3TagEdit {
public:
    /// Raises NSInvalidArgumentException for a text, genre or track value of a kind that has none.
    explicit Id3TagEdit(const Record& record);

    /// False when the picture was left out, the present ones staying, because the tag would be larger than
    /// MaxTagBytes with it.
    bool apply(Id3FrameList& frames) const;

private:
    struct Change {
        std::span<const std::string_view> removed; ///< frame ids, of static tables
        bool plainCommentsToo = false; ///< removes the comments without a description
        std::optional<Id3Frame> added;
    };

    void addText(
        const Record& record, std::string_view key, std::string_view id, std::span<const std::string_view> removed);
    void addComment(const Record& record);
    void addGenre(const Record& record);
    void addTrack(const Record& record);
    void addPicture(const Record& record);

    static void apply(const Change& change, Id3FrameList& frames);

    std::vector<Change> m_changes;
    Change m_picture;
};

} // namespace mv
