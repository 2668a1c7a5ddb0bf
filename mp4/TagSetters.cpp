#include "mp4/Tags.h"

#include "Base/Core/Text.h"

namespace mv {

namespace {

/// A field's text is what a reader would get of it: valid UTF-8 up to the first zero byte.
void assign(std::optional<std::string>& field, TagText value)
{
    field.reset();
    if (value)
        field = cleanedUtf8(value->substr(0, value->find('\0')));
}

} // namespace

void MP4TagsSetName(MP4Tags& tags, TagText value) { assign(tags.name, value); }
void MP4TagsSetArtist(MP4Tags& tags, TagText value) { assign(tags.artist, value); }
void MP4TagsSetAlbumArtist(MP4Tags& tags, TagText value) { assign(tags.albumArtist, value); }
void MP4TagsSetAlbum(MP4Tags& tags, TagText value) { assign(tags.album, value); }
void MP4TagsSetGrouping(MP4Tags& tags, TagText value) { assign(tags.grouping, value); }
void MP4TagsSetComposer(MP4Tags& tags, TagText value) { assign(tags.composer, value); }
void MP4TagsSetComments(MP4Tags& tags, TagText value) { assign(tags.comments, value); }
void MP4TagsSetGenre(MP4Tags& tags, TagText value) { assign(tags.genre, value); }
void MP4TagsSetGenreType(MP4Tags& tags, TagNumber<std::uint16_t> value) { tags.genreType = value; }
void MP4TagsSetReleaseDate(MP4Tags& tags, TagText value) { assign(tags.releaseDate, value); }
void MP4TagsSetTrack(MP4Tags& tags, std::optional<MP4TagTrack> value) { tags.track = value; }
void MP4TagsSetDisk(MP4Tags& tags, std::optional<MP4TagDisk> value) { tags.disk = value; }
void MP4TagsSetTempo(MP4Tags& tags, TagNumber<std::uint16_t> value) { tags.tempo = value; }
void MP4TagsSetCompilation(MP4Tags& tags, TagNumber<std::uint8_t> value) { tags.compilation = value; }
void MP4TagsSetLyrics(MP4Tags& tags, TagText value) { assign(tags.lyrics, value); }
void MP4TagsSetSortName(MP4Tags& tags, TagText value) { assign(tags.sortName, value); }
void MP4TagsSetSortArtist(MP4Tags& tags, TagText value) { assign(tags.sortArtist, value); }
void MP4TagsSetSortAlbumArtist(MP4Tags& tags, TagText value) { assign(tags.sortAlbumArtist, value); }
void MP4TagsSetSortAlbum(MP4Tags& tags, TagText value) { assign(tags.sortAlbum, value); }
void MP4TagsSetSortComposer(MP4Tags& tags, TagText value) { assign(tags.sortComposer, value); }
void MP4TagsSetCopyright(MP4Tags& tags, TagText value) { assign(tags.copyright, value); }

void MP4TagsAddArtwork(MP4Tags& tags, MP4TagArtwork artwork) { tags.artwork.push_back(std::move(artwork)); }

bool MP4TagsSetArtwork(MP4Tags& tags, std::size_t index, MP4TagArtwork artwork)
{
    if (index >= tags.artwork.size())
        return false;
    tags.artwork[index] = std::move(artwork);
    return true;
}

bool MP4TagsRemoveArtwork(MP4Tags& tags, std::size_t index)
{
    if (index >= tags.artwork.size())
        return false;
    tags.artwork.erase(tags.artwork.begin() + static_cast<std::ptrdiff_t>(index));
    return true;
}

} // namespace mv
