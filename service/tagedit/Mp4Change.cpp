#include "service/tagedit/Mp4Change.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <iterator>

namespace mv {

namespace {

struct TextRow {
    TagKey key;
    std::uint32_t code;
    std::string_view freeformName; ///< of a freeform item that FFmpeg takes for it
};
constexpr TextRow TextRows[] = {
    { TagKey::Title, fourCC("\251nam"), "title" },
    { TagKey::Album, fourCC("\251alb"), "album" },
    { TagKey::Artist, fourCC("\251ART"), "artist" },
    { TagKey::AlbumArtist, fourCC("aART"), "album_artist" },
    { TagKey::Composer, fourCC("\251wrt"), "composer" },
    { TagKey::Genre, fourCC("\251gen"), "genre" },
    { TagKey::Comment, fourCC("\251cmt"), "comment" },
    { TagKey::Date, fourCC("\251day"), "date" },
};
constexpr std::uint32_t Cover = fourCC("covr");
constexpr std::uint32_t GenreNumber = fourCC("gnre");

MP4ItmfItem* find(MP4ItmfItemList& items, std::uint32_t code)
{
    auto item = std::find_if(items.begin(), items.end(), [&](const MP4ItmfItem& each) { return each.code == code; });
    return item == items.end() ? nullptr : &*item;
}

void remove(MP4ItmfItemList& items, std::uint32_t code)
{
    std::erase_if(items, [&](const MP4ItmfItem& item) { return item.code == code; });
}

/// In the place of the first of that code, alone.
void put(MP4ItmfItemList& items, std::uint32_t code, std::vector<MP4ItmfData> values)
{
    MP4ItmfItem* present = find(items, code);
    if (!present) {
        items.push_back({ .code = code, .dataList = std::move(values) });
        return;
    }
    present->dataList = std::move(values);
    auto behind = items.begin() + (present - items.data()) + 1;
    items.erase(
        std::remove_if(behind, items.end(), [&](const MP4ItmfItem& item) { return item.code == code; }), items.end());
}

/// Of items that FFmpeg gives one name it shows the last: one of that code goes behind the freeform ones.
void moveBehindFreeform(MP4ItmfItemList& items, std::uint32_t code, std::string_view name)
{
    constexpr std::uint32_t Freeform = fourCC("----");
    auto isTwin
        = [&](const MP4ItmfItem& item) { return item.code == Freeform && equalIgnoringAsciiCase(item.name, name); };
    auto item = items.begin() + (find(items, code) - items.data());
    auto last = std::find_if(items.rbegin(), std::make_reverse_iterator(item), isTwin).base();
    if (last > item)
        std::rotate(item, item + 1, last);
}

void setTexts(MP4ItmfItemList& items, const TextRow& row, const TagChanges::Values& values)
{
    if (values.empty())
        return remove(items, row.code);
    std::vector<MP4ItmfData> data;
    for (const std::string& value : values) {
        ByteView bytes = bytesOf(value);
        data.push_back({ .typeCode = MP4ItmfBasicType::Utf8, .value = Bytes(bytes.begin(), bytes.end()) });
    }
    put(items, row.code, std::move(data));
    moveBehindFreeform(items, row.code, row.freeformName);
}

struct PlaceRow {
    TagKey place;
    TagKey total;
    std::uint32_t code;
    std::string_view freeformName;
};
constexpr PlaceRow PlaceRows[] = {
    { TagKey::Track, TagKey::TrackTotal, fourCC("trkn"), "track" },
    { TagKey::Disc, TagKey::DiscTotal, fourCC("disk"), "disc" },
};

/// Two bytes of nothing, the place, the total, and of tracks two more.
void setPlace(MP4ItmfItemList& items, const PlaceRow& row, const TagChanges& changes)
{
    if (!changes.isNamed(row.place) && !changes.isNamed(row.total))
        return;
    const MP4ItmfItem* present = find(items, row.code);
    ByteReader in(present && !present->dataList.empty() ? ByteView(present->dataList.front().value) : ByteView());
    in.skip(2);
    std::uint16_t place = in.u16be();
    std::uint16_t total = in.u16be();
    if (changes.isNamed(row.place))
        place = changes.number(row.place);
    if (changes.isNamed(row.total))
        total = changes.number(row.total);
    if (place == 0 && total == 0)
        return remove(items, row.code);
    Bytes value;
    ByteWriter out(value);
    out.u16be(0);
    out.u16be(place);
    out.u16be(total);
    out.zeros(row.place == TagKey::Track ? 2 : 0);
    put(items, row.code, { { .typeCode = MP4ItmfBasicType::Implicit, .value = std::move(value) } });
    moveBehindFreeform(items, row.code, row.freeformName);
}

void setCover(MP4ItmfItemList& items, const Bytes& picture)
{
    auto hasPicture = [](const MP4ItmfItem& item) { return item.code == Cover && !item.dataList.empty(); };
    auto present = std::find_if(items.begin(), items.end(), hasPicture);
    if (picture.empty()) {
        if (present == items.end())
            return;
        present->dataList.erase(present->dataList.begin());
        if (present->dataList.empty())
            items.erase(present);
        return;
    }
    bool isPng = coverMimeType(picture) == "image/png";
    MP4ItmfData data { .typeCode = isPng ? MP4ItmfBasicType::Png : MP4ItmfBasicType::Jpeg, .value = picture };
    if (present != items.end())
        present->dataList.front() = std::move(data);
    else
        put(items, Cover, { std::move(data) });
}

} // namespace

MP4ItmfItemList changedItems(const MP4ItmfItemList& before, const TagChanges& changes)
{
    MP4ItmfItemList items = before;
    for (const TextRow& row : TextRows) {
        if (const auto& values = changes[row.key])
            setTexts(items, row, *values);
    }
    // By number or by text: programs differ in which of the two they show.
    if (changes.isNamed(TagKey::Genre))
        remove(items, GenreNumber);
    for (const PlaceRow& row : PlaceRows)
        setPlace(items, row, changes);
    if (changes.frontCover)
        setCover(items, *changes.frontCover);
    return items;
}

std::vector<std::uint32_t> changedTexts(const TagChanges& changes)
{
    std::vector<std::uint32_t> codes;
    for (const TextRow& row : TextRows) {
        if (changes.isNamed(row.key))
            codes.push_back(row.code);
    }
    return codes;
}

} // namespace mv
