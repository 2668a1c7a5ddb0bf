#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"
#include "Base/Media/TagLimits.h"
#include "id3/Id3v1Tag.h"
#include "id3/Id3v2Tag.h"
#include "system/ByteSource.h"

#include <optional>
#include <vector>

namespace mv {

/// Every tag of an MP3 file and the audio between them.
///
/// From the front: any number of ID3v2 tags one behind the other (zero bytes between them are padding), then maybe an
/// APE tag, then audio. From the end: an ID3v1 tag, before it Lyrics3 and APE tags in any order, before them ID3v2 tags
/// that end in a footer. A tag that claims more than the file has ends with its last whole frame.
struct TagSet {
    /// What all frames together may take once unpacked, beside the MaxTagBytes that are read of all tags.
    static constexpr std::size_t MaxBytesUnpacked = std::size_t { 32 } << 20;

    std::vector<Id3v2Tag> prependedTags; ///< in file order
    std::vector<Id3v2Tag> appendedTags; ///< in file order
    std::optional<Id3v1Tag> id3v1; ///< the last 128 bytes
    std::optional<TagExtent> lyrics3; ///< from "LYRICSBEGIN" to the end of its closing mark
    std::optional<TagExtent> ape; ///< at the end of the file, header included
    std::optional<TagExtent> leadingApe; ///< at its front, behind ID3v2
    bool lyrics3IsVersion2 = false;
    std::uint64_t audioBegin = 0; ///< the first byte behind the tags at the front
    std::uint64_t audioEnd = 0; ///< the first byte of the tags at the end; never below audioBegin

    /// The ID3v2 tags that count: those at the front, or, where there is none, those at the end.
    const std::vector<Id3v2Tag>& countingTags() const { return prependedTags.empty() ? appendedTags : prependedTags; }
};

/// Finds and reads the tags. Reads the tags' bytes, little more at the front and at the end, never the audio.
/// Fails only where the source does: a file without tags, or with broken ones, is no error.
Result<TagSet> readTags(const ByteSource& source);

} // namespace mv
