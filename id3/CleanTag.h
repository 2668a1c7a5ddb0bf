#pragma once

#include "Base/Core/Bytes.h"
#include "id3/TagReader.h"

#include <cstddef>
#include <vector>

class ID3_Tag;

namespace mv {

/// What id3lib is given instead of a file: the frames that describe a song, as a v2.3 tag without flags.
///
/// id3lib trusts what it reads (sizes, flags, text without an end) and knows nothing of v2.4, so it never sees a file's
/// own bytes. Pictures go in as a stand-in of four bytes, and come out through `pictureFor`: id3lib copies a cover byte
/// by byte, several times over.
class CleanTag {
public:
    /// Bytes given to id3lib at most. Only frames that nobody reads to their end come near.
    static constexpr std::size_t MaximumSize = std::size_t { 16 } << 20;

    /// Of all ID3v2 tags at the front of the file, in their order; where there is none, of those at its end.
    static CleanTag ofId3v2(const TagSet& tags);
    /// Of ID3v1 and Lyrics3, whose texts in full length go before ID3v1's.
    static CleanTag ofOtherTags(const TagSet& tags, const ByteSource& source);

    /// What ID3_Tag::Link answers for such a file: the bytes of the tags read, also of tags without a usable frame; 0
    /// when there is no tag.
    std::size_t link(ID3_Tag& tag) const;

    /// The picture behind the data field of an APIC frame of a tag linked here; empty for any other data.
    ByteView pictureFor(ByteView dataField) const;

    const Bytes& bytes() const { return m_bytes; }

private:
    CleanTag();
    void addFrames(const Id3v2Tag& tag);
    void addFrame(const TagFrame& frame);
    void addTextFrame(std::string_view id, ByteView body);
    void addComment(ByteView body);
    void addPicture(const TagFrame& frame);
    void addText(std::string_view id, ByteView latin1);
    void addRaw(std::string_view id, ByteView body);
    void finish();

    Bytes m_bytes;
    std::vector<ByteView> m_pictures;
    std::size_t m_tagBytes = 0;
};

} // namespace mv
