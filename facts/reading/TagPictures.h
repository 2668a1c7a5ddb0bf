#pragma once

#include "facts/Facts.h"
#include "facts/reading/TagTexts.h"

namespace mv {

/// The tags of a file while they are read: texts, and the pictures where they are asked for.
struct TagSink {
    TagTexts texts;
    bool wantsPictures = false;
    std::vector<FactPicture> pictures;

    /// A picture of a tag; its bytes are copied only where they are asked for. Empty ones are none.
    void addPicture(std::uint32_t type, std::string_view mimeType, std::string_view description, ByteView data);
    /// The same of one whose bytes were not read.
    void notePicture() { texts.setHasPicture(); }
    /// Everything into the facts; the front cover comes first.
    void putInto(Facts& facts);

    static constexpr std::size_t MaxPictureBytes = std::size_t { 64 } << 20; ///< of all of them together

private:
    std::size_t m_bytesLeft = MaxPictureBytes;
};

/// What the first bytes say ("image/jpeg"), else `stated` in small letters if it names a type; may be empty.
std::string pictureMimeType(ByteView data, std::string_view stated);

} // namespace mv
