#include "mp4/Tags.h"

#include "Base/Core/Text.h"
#include "mp4/mp4.h"

#include <algorithm>
#include <array>
#include <limits>
#include <map>

namespace mv {

namespace {

template <class T> struct Field {
    std::uint32_t code;
    std::optional<T> MP4Tags::*member;
};

constexpr std::array TextFields = {
    Field<std::string> { fourCC("\251nam"), &MP4Tags::name },
    Field<std::string> { fourCC("\251ART"), &MP4Tags::artist },
    Field<std::string> { fourCC("aART"), &MP4Tags::albumArtist },
    Field<std::string> { fourCC("\251alb"), &MP4Tags::album },
    Field<std::string> { fourCC("\251grp"), &MP4Tags::grouping },
    Field<std::string> { fourCC("\251wrt"), &MP4Tags::composer },
    Field<std::string> { fourCC("\251cmt"), &MP4Tags::comments },
    Field<std::string> { fourCC("\251gen"), &MP4Tags::genre },
    Field<std::string> { fourCC("\251day"), &MP4Tags::releaseDate },
    Field<std::string> { fourCC("tvsh"), &MP4Tags::tvShow },
    Field<std::string> { fourCC("tvnn"), &MP4Tags::tvNetwork },
    Field<std::string> { fourCC("tven"), &MP4Tags::tvEpisodeID },
    Field<std::string> { fourCC("desc"), &MP4Tags::description },
    Field<std::string> { fourCC("ldes"), &MP4Tags::longDescription },
    Field<std::string> { fourCC("\251lyr"), &MP4Tags::lyrics },
    Field<std::string> { fourCC("sonm"), &MP4Tags::sortName },
    Field<std::string> { fourCC("soar"), &MP4Tags::sortArtist },
    Field<std::string> { fourCC("soaa"), &MP4Tags::sortAlbumArtist },
    Field<std::string> { fourCC("soal"), &MP4Tags::sortAlbum },
    Field<std::string> { fourCC("soco"), &MP4Tags::sortComposer },
    Field<std::string> { fourCC("sosn"), &MP4Tags::sortTVShow },
    Field<std::string> { fourCC("cprt"), &MP4Tags::copyright },
    Field<std::string> { fourCC("\251too"), &MP4Tags::encodingTool },
    Field<std::string> { fourCC("\251enc"), &MP4Tags::encodedBy },
    Field<std::string> { fourCC("purd"), &MP4Tags::purchaseDate },
    Field<std::string> { fourCC("keyw"), &MP4Tags::keywords },
    Field<std::string> { fourCC("catg"), &MP4Tags::category },
    Field<std::string> { fourCC("xid "), &MP4Tags::xid },
    Field<std::string> { fourCC("apID"), &MP4Tags::iTunesAccount },
};

constexpr std::array ByteFields = {
    Field<std::uint8_t> { fourCC("cpil"), &MP4Tags::compilation },
    Field<std::uint8_t> { fourCC("pcst"), &MP4Tags::podcast },
    Field<std::uint8_t> { fourCC("hdvd"), &MP4Tags::hdVideo },
    Field<std::uint8_t> { fourCC("stik"), &MP4Tags::mediaType },
    Field<std::uint8_t> { fourCC("rtng"), &MP4Tags::contentRating },
    Field<std::uint8_t> { fourCC("pgap"), &MP4Tags::gapless },
    Field<std::uint8_t> { fourCC("akID"), &MP4Tags::iTunesAccountType },
};

constexpr std::uint32_t GenreTypeCode = fourCC("gnre");
constexpr std::array ShortFields = {
    Field<std::uint16_t> { GenreTypeCode, &MP4Tags::genreType },
    Field<std::uint16_t> { fourCC("tmpo"), &MP4Tags::tempo },
};

constexpr std::array LongFields = {
    Field<std::uint32_t> { fourCC("tvsn"), &MP4Tags::tvSeason },
    Field<std::uint32_t> { fourCC("tves"), &MP4Tags::tvEpisode },
    Field<std::uint32_t> { fourCC("cnID"), &MP4Tags::contentID },
    Field<std::uint32_t> { fourCC("atID"), &MP4Tags::artistID },
    Field<std::uint32_t> { fourCC("geID"), &MP4Tags::genreID },
    Field<std::uint32_t> { fourCC("cmID"), &MP4Tags::composerID },
    Field<std::uint32_t> { fourCC("sfID"), &MP4Tags::iTunesCountry },
};

constexpr std::array WideFields = {
    Field<std::uint64_t> { fourCC("plID"), &MP4Tags::playlistID },
};

constexpr std::array PairFields = {
    Field<MP4TagTrack> { fourCC("trkn"), &MP4Tags::track },
    Field<MP4TagDisk> { fourCC("disk"), &MP4Tags::disk },
};

constexpr std::uint32_t ArtworkCode = fourCC("covr");

struct ArtworkRow {
    MP4TagArtworkType type;
    MP4ItmfBasicType code;
    std::string_view firstBytes;
};

using namespace std::string_view_literals;
constexpr std::array ArtworkTypes = {
    ArtworkRow { MP4_ART_BMP, MP4ItmfBasicType::Bmp, "BM"sv },
    ArtworkRow { MP4_ART_GIF, MP4ItmfBasicType::Gif, "GIF8"sv },
    ArtworkRow { MP4_ART_JPEG, MP4ItmfBasicType::Jpeg, "\xFF\xD8\xFF"sv },
    ArtworkRow { MP4_ART_PNG, MP4ItmfBasicType::Png, "\x89PNG"sv },
};

MP4TagArtworkType artworkType(const MP4ItmfData& data)
{
    for (const ArtworkRow& row : ArtworkTypes) {
        if (row.code == data.typeCode)
            return row.type;
    }
    for (const ArtworkRow& row : ArtworkTypes) {
        if (charsOf(data.value).starts_with(row.firstBytes))
            return row.type;
    }
    return MP4_ART_UNDEFINED;
}

MP4ItmfBasicType artworkCode(const MP4TagArtwork& artwork)
{
    for (const ArtworkRow& row : ArtworkTypes) {
        if (row.type == artwork.type)
            return row.code;
    }
    return MP4ItmfBasicType::Implicit;
}

// From values to fields. Every function gives nothing for what is no value of its kind.

void decode(const MP4ItmfData& data, std::optional<std::string>& text)
{
    std::string raw(charsOf(data.value));
    if (data.typeCode == MP4ItmfBasicType::Utf16)
        raw = utf8FromUtf16BE(data.value).value_or(std::string {});
    text = cleanedUtf8(raw.substr(0, raw.find('\0')));
}

template <std::unsigned_integral T> void decode(const MP4ItmfData& data, std::optional<T>& number)
{
    constexpr std::size_t WidestNumber = 8;
    if (data.value.empty() || data.value.size() > WidestNumber)
        return;
    std::uint64_t value = 0;
    for (std::uint8_t byte : data.value)
        value = value << 8 | byte;
    if (value <= std::numeric_limits<T>::max())
        number = static_cast<T>(value);
}

/// Two bytes of nothing, the index, the total; shorter ones lack the total. What follows (a track has two bytes more
/// than a disk) means nothing.
void decode(const MP4ItmfData& data, std::optional<MP4TagTrack>& pair)
{
    ByteReader fields(data.value);
    fields.skip(2);
    std::uint16_t index = fields.u16be();
    if (!fields.failed())
        pair = MP4TagTrack { index, fields.u16be() };
}

// From fields to values.

MP4ItmfData encode(std::uint32_t, const std::string& text)
{
    return { .typeCode = MP4ItmfBasicType::Utf8, .value = Bytes(text.begin(), text.end()) };
}

template <std::unsigned_integral T> MP4ItmfData encode(std::uint32_t code, T number)
{
    bool implicit = code == GenreTypeCode;
    MP4ItmfData data { .typeCode = implicit ? MP4ItmfBasicType::Implicit : MP4ItmfBasicType::Integer };
    for (std::size_t shift = sizeof(T) * 8; shift > 0; shift -= 8)
        data.value.push_back(static_cast<std::uint8_t>(number >> (shift - 8)));
    return data;
}

MP4ItmfData encode(std::uint32_t code, const MP4TagTrack& pair)
{
    MP4ItmfData data;
    ByteWriter writer(data.value);
    writer.zeros(2);
    writer.u16be(pair.index);
    writer.u16be(pair.total);
    writer.zeros(code == fourCC("trkn") ? 2 : 0);
    return data;
}

/// Calls `visit` with every field but the pictures.
template <class Visit> void forEachField(const Visit& visit)
{
    std::apply([&](const auto&... table) { (std::for_each(table.begin(), table.end(), visit), ...); },
        std::tie(TextFields, ByteFields, ShortFields, LongFields, WideFields, PairFields));
}

/// Puts `item` (null: nothing) in the place of the first item of `code`, or at the end; the others of it go.
void replaceItems(MP4ItmfItemList& items, std::uint32_t code, std::optional<MP4ItmfItem> item)
{
    auto sameCode = [&](const MP4ItmfItem& other) { return other.code == code; };
    auto first = std::find_if(items.begin(), items.end(), sameCode);
    if (first == items.end()) {
        if (item)
            items.push_back(std::move(*item));
        return;
    }
    if (item)
        *first++ = std::move(*item);
    items.erase(std::remove_if(first, items.end(), sameCode), items.end());
}

/// One cover item with the pictures of `tags`; values that stay keep their type and locale as they were written.
std::optional<MP4ItmfItem> artworkItem(const MP4ItmfItemList& before, const MP4Tags& tags)
{
    if (tags.artwork.empty())
        return std::nullopt;
    std::vector<const MP4ItmfData*> old;
    MP4ItmfItem item { .code = ArtworkCode };
    for (const MP4ItmfItem& other : before) {
        if (other.code != ArtworkCode)
            continue;
        item.otherBoxes.insert(item.otherBoxes.end(), other.otherBoxes.begin(), other.otherBoxes.end());
        for (const MP4ItmfData& data : other.dataList)
            old.push_back(&data);
    }
    for (const MP4TagArtwork& artwork : tags.artwork) {
        auto kept = std::find_if(old.begin(), old.end(),
            [&](const MP4ItmfData* data) { return artworkType(*data) == artwork.type && data->value == artwork.data; });
        item.dataList.push_back(
            kept != old.end() ? **kept : MP4ItmfData { .typeCode = artworkCode(artwork), .value = artwork.data });
    }
    return item;
}

} // namespace

MP4Tags tagsFromItems(const MP4ItmfItemList& items)
{
    MP4Tags tags;
    std::map<std::uint32_t, const MP4ItmfData*> firstValues;
    for (const MP4ItmfItem& item : items) {
        if (!item.dataList.empty())
            firstValues.try_emplace(item.code, &item.dataList[0]);
        if (item.code != ArtworkCode)
            continue;
        for (const MP4ItmfData& data : item.dataList)
            tags.artwork.push_back({ data.value, artworkType(data) });
    }
    forEachField([&](const auto& field) {
        if (auto value = firstValues.find(field.code); value != firstValues.end())
            decode(*value->second, tags.*field.member);
    });
    return tags;
}

MP4ItmfItemList itemsWithTags(const MP4ItmfItemList& before, const MP4Tags& tags)
{
    MP4ItmfItemList items = before;
    const MP4Tags old = tagsFromItems(before);
    forEachField([&](const auto& field) {
        const auto& value = tags.*field.member;
        if (value == old.*field.member)
            return;
        std::optional<MP4ItmfItem> item;
        if (value)
            item = MP4ItmfItem { .code = field.code, .dataList = { encode(field.code, *value) } };
        replaceItems(items, field.code, std::move(item));
    });
    if (tags.artwork != old.artwork)
        replaceItems(items, ArtworkCode, artworkItem(before, tags));
    return items;
}

MP4Tags MP4TagsAlloc() { return {}; }

bool MP4TagsFetch(MP4Tags& tags, Mp4File& file)
{
    const MP4ItmfItemList& items = file.items();
    tags = tagsFromItems(items);
    return !items.empty();
}

} // namespace mv
