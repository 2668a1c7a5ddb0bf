#include "service/tagedit/Mp4Change.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <iterator>

namespace mv {

namespace {

struct TextRow {
    TagKey key;
    std::uint32_t code;
};
constexpr TextRow TextRows[] = {
    { TagKey::Title, fourCC("\251nam") },
    { TagKey::Album, fourCC("\251alb") },
    { TagKey::Artist, fourCC("\251ART") },
    { TagKey::AlbumArtist, fourCC("aART") },
    { TagKey::Composer, fourCC("\251wrt") },
    { TagKey::Genre, fourCC("\251gen") },
    { TagKey::Comment, fourCC("\251cmt") },
    { TagKey::Date, fourCC("\251day") },
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

void setTexts(MP4ItmfItemList& items, std::uint32_t code, const TagChanges::Values& values)
{
    if (values.empty())
        return remove(items, code);
    std::vector<MP4ItmfData> data;
    for (const std::string& value : values) {
        ByteView bytes = bytesOf(value);
        data.push_back({ .typeCode = MP4ItmfBasicType::Utf8, .value = Bytes(bytes.begin(), bytes.end()) });
    }
    put(items, code, std::move(data));
}

/// Two bytes of nothing, the place, the total, and of tracks two more.
void setPlace(MP4ItmfItemList& items, std::uint32_t code, const TagChanges& changes, TagKey placeKey, TagKey totalKey)
{
    if (!changes.isNamed(placeKey) && !changes.isNamed(totalKey))
        return;
    const MP4ItmfItem* present = find(items, code);
    ByteReader in(present && !present->dataList.empty() ? ByteView(present->dataList.front().value) : ByteView());
    in.skip(2);
    std::uint16_t place = in.u16be();
    std::uint16_t total = in.u16be();
    if (changes.isNamed(placeKey))
        place = changes.number(placeKey);
    if (changes.isNamed(totalKey))
        total = changes.number(totalKey);
    if (place == 0 && total == 0)
        return remove(items, code);
    Bytes value;
    ByteWriter out(value);
    out.u16be(0);
    out.u16be(place);
    out.u16be(total);
    out.zeros(code == fourCC("trkn") ? 2 : 0);
    put(items, code, { { .typeCode = MP4ItmfBasicType::Implicit, .value = std::move(value) } });
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
            setTexts(items, row.code, *values);
    }
    // By number or by text: programs differ in which of the two they show.
    if (changes.isNamed(TagKey::Genre))
        remove(items, GenreNumber);
    setPlace(items, fourCC("trkn"), changes, TagKey::Track, TagKey::TrackTotal);
    setPlace(items, fourCC("disk"), changes, TagKey::Disc, TagKey::DiscTotal);
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
