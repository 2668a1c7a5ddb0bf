#include "cli/CarriedTags.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "cli/MetadataUpdate.h"
#include "facts/Facts.h"
#include "mp4/Tags.h"
#include "system/FileReplacement.h"

#include <algorithm>
#include <array>

namespace mv::cli {

namespace {

struct TextField {
    std::string_view name;
    void (*set)(MP4Tags&, TagText);
};

constexpr std::array TextFields {
    TextField { "TITLE", &MP4TagsSetName },
    TextField { "ARTIST", &MP4TagsSetArtist },
    TextField { "ALBUM", &MP4TagsSetAlbum },
    TextField { "ALBUMARTIST", &MP4TagsSetAlbumArtist },
    TextField { "COMPOSER", &MP4TagsSetComposer },
    TextField { "GENRE", &MP4TagsSetGenre },
    TextField { "DATE", &MP4TagsSetReleaseDate },
    TextField { "COMMENT", &MP4TagsSetComments },
    TextField { "CONTENTGROUP", &MP4TagsSetGrouping },
    TextField { "GROUPING", &MP4TagsSetGrouping },
    TextField { "LYRICS", &MP4TagsSetLyrics },
    TextField { "COPYRIGHT", &MP4TagsSetCopyright },
    TextField { "TITLESORT", &MP4TagsSetSortName },
    TextField { "ARTISTSORT", &MP4TagsSetSortArtist },
    TextField { "ALBUMSORT", &MP4TagsSetSortAlbum },
    TextField { "ALBUMARTISTSORT", &MP4TagsSetSortAlbumArtist },
    TextField { "COMPOSERSORT", &MP4TagsSetSortComposer },
};

// Numbers, which have fields of their own as well.
constexpr std::array<std::string_view, 4> Numbers { "TRACKNUMBER", "DISCNUMBER", "BPM", "COMPILATION" };

// Names that programs give to freeform items; all others are written as they are.
constexpr std::array<std::pair<std::string_view, std::string_view>, 6> FreeformNames { {
    { "MUSICBRAINZ_TRACKID", "MusicBrainz Track Id" },
    { "MUSICBRAINZ_ALBUMID", "MusicBrainz Album Id" },
    { "MUSICBRAINZ_ARTISTID", "MusicBrainz Artist Id" },
    { "MUSICBRAINZ_ALBUMARTISTID", "MusicBrainz Album Artist Id" },
    { "MUSICBRAINZ_RELEASEGROUPID", "MusicBrainz Release Group Id" },
    { "MUSICBRAINZ_RELEASETRACKID", "MusicBrainz Release Track Id" },
} };
constexpr const char* FreeformMean = "com.apple.iTunes";

/// Nothing for a text without a number.
std::optional<MP4TagTrack> placeIn(std::string_view text)
{
    PlaceInSet place = placeFrom(text);
    if (place.index == 0 && place.total == 0)
        return std::nullopt;
    return MP4TagTrack { static_cast<std::uint16_t>(place.index), static_cast<std::uint16_t>(place.total) };
}

void setNumbers(MP4Tags& to, const SongTags& from)
{
    MP4TagsSetTrack(to, placeIn(from.text("TRACKNUMBER")));
    MP4TagsSetDisk(to, placeIn(from.text("DISCNUMBER")));
    if (auto tempo = placeIn(from.text("BPM")))
        MP4TagsSetTempo(to, tempo->index);
    if (leadingInteger(from.text("COMPILATION")) == 1)
        MP4TagsSetCompilation(to, std::uint8_t { 1 });
}

MP4TagArtworkType artworkType(std::string_view mimeType)
{
    if (mimeType == "image/jpeg")
        return MP4_ART_JPEG;
    if (mimeType == "image/png")
        return MP4_ART_PNG;
    if (mimeType == "image/gif")
        return MP4_ART_GIF;
    return mimeType == "image/bmp" ? MP4_ART_BMP : MP4_ART_UNDEFINED;
}

bool hasFieldOfItsOwn(std::string_view name)
{
    return std::any_of(TextFields.begin(), TextFields.end(), [&](const TextField& one) { return one.name == name; })
        || std::find(Numbers.begin(), Numbers.end(), name) != Numbers.end();
}

MP4ItmfItem freeformItem(std::string_view name, const std::string& text)
{
    auto known
        = std::find_if(FreeformNames.begin(), FreeformNames.end(), [&](const auto& one) { return one.first == name; });
    MP4ItmfItem item;
    item.code = fourCC("----");
    item.mean = FreeformMean;
    item.name = known == FreeformNames.end() ? name : known->second;
    ByteView bytes = bytesOf(text);
    item.dataList.push_back({ 0, MP4ItmfBasicType::Utf8, 0, Bytes(bytes.begin(), bytes.end()) });
    return item;
}

MP4ItmfItemList itemsWith(const SongTags& tags, const MP4ItmfItemList& before)
{
    MP4Tags fields = MP4TagsAlloc();
    for (const TextField& field : TextFields) {
        if (std::string_view text = tags.text(field.name); !text.empty())
            field.set(fields, text);
    }
    setNumbers(fields, tags);
    // The list says of no picture what it shows: the first one counts.
    for (bool isFront : { true, false }) {
        for (const SongCover& cover : tags.covers) {
            if ((cover.type == FrontCoverType) == isFront)
                MP4TagsAddArtwork(fields, { cover.data, artworkType(cover.mimeType) });
        }
    }
    MP4ItmfItemList items = itemsWithTags(before, fields);
    for (const auto& [name, text] : tags.texts) {
        if (!hasFieldOfItsOwn(name))
            items.push_back(freeformItem(name, text));
    }
    return items;
}

} // namespace

Result<void> writeId3Tags(const Path& file, const SongTags& tags)
{
    Bytes tag = id3TagWith(tags);
    if (tag.empty())
        return {};
    std::uint64_t wanted = 0;
    auto plan = [&](const InputFile& current) -> Result<std::optional<FileContent>> {
        wanted = tag.size() + current.size();
        return std::optional(FileContent { FileSegment::literal(tag), FileSegment::copy(0, current.size()) });
    };
    auto check = [&](const InputFile& made) -> Result<void> {
        if (made.size() != wanted)
            return Error { Error::Kind::Io, "the file came out too short" };
        return {};
    };
    MV_TRY_VOID(FileReplacement::perform(file, plan, check));
    return {};
}

Result<void> writeMp4Tags(const Path& file, const SongTags& tags)
{
    if (tags.empty())
        return {};
    return updateMetadata(file, [&](const MP4ItmfItemList& before) { return itemsWith(tags, before); });
}

} // namespace mv::cli
