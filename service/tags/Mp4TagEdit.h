#pragma once

#include "Base/Media/Record.h"
#include "mp4/Tags.h"

namespace mv {

/// What a media information record asks of MPEG-4 metadata. Decodes and encodes the record's picture once; keeps a
/// reference to the record.
class Mp4TagEdit {
public:
    /// Raises NSInvalidArgumentException for a text, track or disc value of a kind that has none.
    explicit Mp4TagEdit(const Record& record);

    /// The items with the record's values.
    MP4ItmfItemList applied(const MP4ItmfItemList& before, bool withArtwork) const;
    /// True when the record has a picture to store.
    bool hasArtwork() const { return m_artwork.has_value(); }

private:
    void applyTexts(MP4Tags& tags) const;
    void applyArtwork(MP4Tags& tags) const;

    struct TextChange {
        void (*set)(MP4Tags&, TagText);
        std::string_view text; ///< of the record
    };

    std::vector<TextChange> m_texts;
    std::optional<std::uint16_t> m_track;
    std::optional<std::uint16_t> m_disc;
    bool m_setsGenre = false;
    bool m_clearsArtwork = false;
    std::optional<Bytes> m_artwork; ///< a JPEG
};

} // namespace mv
