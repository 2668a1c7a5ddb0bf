#pragma once

#include "mp4/MetadataItems.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace mv {

class Mp4File;

/// A place in a numbered set; total 0: not told.
struct MP4TagTrack {
    std::uint16_t index = 0;
    std::uint16_t total = 0;

    bool operator==(const MP4TagTrack&) const = default;
};
using MP4TagDisk = MP4TagTrack;

enum MP4TagArtworkType : int {
    MP4_ART_UNDEFINED = 0,
    MP4_ART_BMP = 1,
    MP4_ART_GIF = 2,
    MP4_ART_JPEG = 3,
    MP4_ART_PNG = 4,
};

struct MP4TagArtwork {
    Bytes data;
    MP4TagArtworkType type = MP4_ART_UNDEFINED; ///< as the file says; where it says nothing, by the first bytes

    bool operator==(const MP4TagArtwork&) const = default;
};

/// The fields of iTunes-style metadata; a field whose item is absent, empty or of the wrong size is absent.
/// Strings fetched from a file are valid UTF-8 and end before the first zero byte. A value type: copy it, keep it.
struct MP4Tags {
    using Text = std::optional<std::string>;
    template <class T> using Number = std::optional<T>;

    Text name;
    Text artist;
    Text albumArtist;
    Text album;
    Text grouping;
    Text composer;
    Text comments;
    Text genre;
    Number<std::uint16_t> genreType; ///< one-based: 1 is "Blues"
    Text releaseDate;
    std::optional<MP4TagTrack> track;
    std::optional<MP4TagDisk> disk;
    Number<std::uint16_t> tempo; ///< beats a minute
    Number<std::uint8_t> compilation;
    Text tvShow;
    Text tvNetwork;
    Text tvEpisodeID;
    Number<std::uint32_t> tvSeason;
    Number<std::uint32_t> tvEpisode;
    Text description;
    Text longDescription;
    Text lyrics;
    Text sortName;
    Text sortArtist;
    Text sortAlbumArtist;
    Text sortAlbum;
    Text sortComposer;
    Text sortTVShow;
    std::vector<MP4TagArtwork> artwork; ///< every picture of every cover item, in order; empty ones too
    Text copyright;
    Text encodingTool;
    Text encodedBy;
    Text purchaseDate;
    Number<std::uint8_t> podcast;
    Text keywords;
    Text category;
    Number<std::uint8_t> hdVideo;
    Number<std::uint8_t> mediaType;
    Number<std::uint8_t> contentRating;
    Number<std::uint8_t> gapless;
    Number<std::uint32_t> contentID;
    Number<std::uint32_t> artistID;
    Number<std::uint64_t> playlistID;
    Number<std::uint32_t> genreID;
    Number<std::uint32_t> composerID;
    Text xid;
    Text iTunesAccount;
    Number<std::uint8_t> iTunesAccountType;
    Number<std::uint32_t> iTunesCountry;

    std::size_t artworkCount() const { return artwork.size(); }
    bool operator==(const MP4Tags&) const = default;
};

/// The fields that a list of items holds. Of several items of one code, or several values of one item, the first
/// counts (pictures: all). Numbers are read from any width that holds them.
MP4Tags tagsFromItems(const MP4ItmfItemList& items);

/// Items that hold what `tags` says: `before` with the items of changed fields replaced where they stood, added at
/// the end, or taken out. Items of unchanged fields and of codes that are no field stay as they are.
MP4ItmfItemList itemsWithTags(const MP4ItmfItemList& before, const MP4Tags& tags);

// The named operations, for the fields that somebody sets. An absent value given to a Set operation takes the field
// out.

MP4Tags MP4TagsAlloc();
/// Fills `tags` from the file. False, and all fields absent, when it has no metadata or it cannot be read.
bool MP4TagsFetch(MP4Tags& tags, Mp4File& file);

using TagText = std::optional<std::string_view>;
template <class T> using TagNumber = std::optional<T>;

void MP4TagsSetName(MP4Tags& tags, TagText value);
void MP4TagsSetArtist(MP4Tags& tags, TagText value);
void MP4TagsSetAlbumArtist(MP4Tags& tags, TagText value);
void MP4TagsSetAlbum(MP4Tags& tags, TagText value);
void MP4TagsSetGrouping(MP4Tags& tags, TagText value);
void MP4TagsSetComposer(MP4Tags& tags, TagText value);
void MP4TagsSetComments(MP4Tags& tags, TagText value);
void MP4TagsSetGenre(MP4Tags& tags, TagText value);
void MP4TagsSetGenreType(MP4Tags& tags, TagNumber<std::uint16_t> value);
void MP4TagsSetReleaseDate(MP4Tags& tags, TagText value);
void MP4TagsSetTrack(MP4Tags& tags, std::optional<MP4TagTrack> value);
void MP4TagsSetDisk(MP4Tags& tags, std::optional<MP4TagDisk> value);
void MP4TagsSetTempo(MP4Tags& tags, TagNumber<std::uint16_t> value);
void MP4TagsSetCompilation(MP4Tags& tags, TagNumber<std::uint8_t> value);
void MP4TagsSetLyrics(MP4Tags& tags, TagText value);
void MP4TagsSetSortName(MP4Tags& tags, TagText value);
void MP4TagsSetSortArtist(MP4Tags& tags, TagText value);
void MP4TagsSetSortAlbumArtist(MP4Tags& tags, TagText value);
void MP4TagsSetSortAlbum(MP4Tags& tags, TagText value);
void MP4TagsSetSortComposer(MP4Tags& tags, TagText value);
void MP4TagsSetCopyright(MP4Tags& tags, TagText value);

/// Adds a picture behind those that are there.
void MP4TagsAddArtwork(MP4Tags& tags, MP4TagArtwork artwork);
/// Replaces the picture at `index`; false when there is none.
bool MP4TagsSetArtwork(MP4Tags& tags, std::size_t index, MP4TagArtwork artwork);
bool MP4TagsRemoveArtwork(MP4Tags& tags, std::size_t index);

} // namespace mv
