#pragma once

#include "Base/Core/Bytes.h"
#include "facts/Facts.h"

#include <array>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

/// What tags say about a piece of music, whatever their format.
enum class TagField : std::uint8_t {
    Title,
    Album,
    Artist,
    AlbumArtist,
    Composer,
    Genre,
    Comment,
    Lyrics,
    Date, ///< of the recording or the release, any precision
    Track, ///< "3" or "3/12"
    TrackTotal,
    Disc,
    DiscTotal,
    Tempo,
    Compilation,
    Count,
};

/// Collects the texts of a file's tags, and turns them into facts once all are there: only then the charset of those
/// that do not state theirs can be guessed. Of several tags the first that has a field counts for it.
class TagTexts {
public:
    /// Bytes of all texts that are taken; longer tags end there.
    static constexpr std::size_t MaxBytes = std::size_t { 16 } << 20;
    /// Values of one field; further ones are left out.
    static constexpr std::size_t MaxValues = 256;

    /// What is added from here on is another tag's.
    void beginTag() { ++m_tag; }
    /// UTF-8; what is ill-formed in it is cleaned. Cut at the first zero byte. An empty text says nothing.
    void add(TagField field, std::string_view utf8);
    /// Of a charset that the tag does not state, or that programs are known to misstate. Cut at the first zero byte.
    void addLegacy(TagField field, ByteView text);
    /// Text that should be UTF-8: legacy where it is not.
    void addUtf8OrLegacy(TagField field, ByteView text);

    void setHasPicture() { m_hasPicture = true; }

    /// Sets the facts that there are, mivo:hasPicture always.
    void putInto(Facts& facts) const;

private:
    struct Entry {
        TagField field;
        std::uint16_t tag;
        bool legacy;
        std::string text;
    };
    void keep(TagField field, bool legacy, std::string_view text);
    using Values = std::array<std::vector<std::string>, static_cast<std::size_t>(TagField::Count)>;
    Values values() const;

    std::vector<Entry> m_entries;
    std::uint16_t m_tag = 0;
    std::size_t m_bytesLeft = MaxBytes;
    bool m_hasPicture = false;
};

/// A date of a tag as ISO 8601, as precise as it is: "1999", "2010-05", "2010-05-04", "2016-05-31T17:01:35+02:00".
/// Parts that are zeros end it. Nothing where no year of four digits begins it and it is no day.month.year.
std::optional<std::string> isoDateOf(std::string_view text);

} // namespace mv
