#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Path.h"

#include <cstdint>
#include <map>
#include <string>
#include <string_view>
#include <vector>

namespace mv::cli {

/// A picture of a song: the bytes as the file has them.
struct SongCover {
    std::string mimeType;
    std::string description;
    int type = 0; ///< as ID3 and FLAC number them: 3 is the front cover
    Bytes data;
};

/// What a song's tags say, whatever their format.
struct SongTags {
    /// UTF-8 by the names that Vorbis comments use, in capitals: "TITLE", "ALBUMARTIST", "DATE". Several values are one
    /// text with "/" between them. Totals stand behind their numbers: TRACKNUMBER "3/12". What an encoder noted of its
    /// own work is left out.
    std::map<std::string, std::string, std::less<>> texts;
    std::vector<SongCover> covers;
    /// True when something is missing above because it is larger than a tag that everybody reads.
    bool isCut = false;

    bool empty() const { return texts.empty() && covers.empty(); }
    /// Empty where there is none.
    std::string_view text(std::string_view name) const;
};

/// A number with its total; 0 for what is not told.
struct PlaceInSet {
    int index = 0;
    int total = 0;
};
/// Of "3/12" or "3"; 0 for what two bytes do not hold.
PlaceInSet placeFrom(std::string_view text);

// Everything here is done by TagLib, which the rest of the tool does not see.

/// The tags of an audio file; empty where it has none or cannot be read. Texts of all formats that TagLib knows, covers
/// of FLAC, Ogg, MPEG-4, MP3, WAVE, AIFF and ASF files.
SongTags readSongTags(const Path& path);

/// An ID3v2.3 tag that holds them; empty when there is nothing to hold.
Bytes id3TagWith(const SongTags& tags);

} // namespace mv::cli
