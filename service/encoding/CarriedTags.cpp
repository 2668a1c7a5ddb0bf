#include "service/encoding/CarriedTags.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/TagLimits.h"
#include "mp4/Tags.h"

#include <algorithm>

namespace mv {

namespace {

using Texts = std::vector<std::string>;

// So that a small change later moves no sound.
constexpr std::size_t SparePadding = 2048;
constexpr std::size_t FrameHeaderSize = 10;
constexpr std::size_t TagHeaderSize = 10;
constexpr std::size_t DateTimeLength = std::string_view("2016-05-31T17:01:35").size();

const std::string& textOf(const Facts& facts, std::string_view key)
{
    static const std::string none;
    const auto* text = facts.get<std::string>(key);
    return text ? *text : none;
}

const Texts& textsOf(const Facts& facts, std::string_view key)
{
    static const Texts none;
    const auto* texts = facts.get<Texts>(key);
    return texts ? *texts : none;
}

std::int32_t numberOf(const Facts& facts, std::string_view key)
{
    const auto* number = facts.get<std::int32_t>(key);
    return number ? *number : 0;
}

bool isCompilation(const Facts& facts)
{
    const bool* flag = facts.get<bool>(fact::Compilation);
    return flag && *flag;
}

/// As most tags have it: 3, 3/12, or nothing.
std::string placeText(std::int32_t number, std::int32_t total)
{
    if (number <= 0 && total <= 0)
        return {};
    std::string text = std::to_string(std::max(number, 0));
    return total > 0 ? text + "/" + std::to_string(total) : text;
}

void syncsafe(ByteWriter& out, std::size_t value)
{
    for (int shift = 21; shift >= 0; shift -= 7)
        out.u8(static_cast<std::uint8_t>(value >> shift & 0x7F));
}

class Id3Writer {
public:
    void text(std::string_view id, const Texts& values)
    {
        Bytes body { Utf8 };
        ByteWriter out(body);
        for (const std::string& value : values) {
            if (value.empty())
                continue;
            if (body.size() > 1)
                out.u8(0);
            out.text(value);
        }
        if (body.size() > 1)
            frame(id, body);
    }
    /// COMM and USLT: of no language and without a description.
    void longText(std::string_view id, const Texts& values)
    {
        for (const std::string& value : values) {
            if (value.empty())
                continue;
            Bytes body { Utf8 };
            ByteWriter out(body);
            out.text("XXX");
            out.u8(0);
            out.text(value);
            frame(id, body);
        }
    }
    void picture(const FactPicture& picture)
    {
        Bytes body { Utf8 };
        ByteWriter out(body);
        out.text(picture.mimeType);
        out.u8(0);
        out.u8(static_cast<std::uint8_t>(picture.type));
        out.text(picture.description);
        out.u8(0);
        out.bytes(picture.data);
        // The sound is worth more than one picture of many.
        if (m_frames.size() + body.size() + FrameHeaderSize + SparePadding <= MaxTagBytes)
            frame("APIC", body);
    }
    Bytes tag() const
    {
        Bytes bytes;
        if (m_frames.empty())
            return bytes;
        ByteWriter out(bytes);
        bytes.reserve(TagHeaderSize + m_frames.size() + SparePadding);
        out.text("ID3");
        out.u8(4);
        out.u16be(0); // revision and flags
        syncsafe(out, m_frames.size() + SparePadding);
        out.bytes(m_frames);
        out.zeros(SparePadding);
        return bytes;
    }

private:
    static constexpr std::uint8_t Utf8 = 3;

    void frame(std::string_view id, ByteView body)
    {
        ByteWriter out(m_frames);
        out.text(id);
        syncsafe(out, body.size());
        out.u16be(0);
        out.bytes(body);
    }

    Bytes m_frames;
};

MP4TagArtworkType artworkType(const FactPicture& picture)
{
    if (picture.mimeType == "image/jpeg")
        return MP4_ART_JPEG;
    return picture.mimeType == "image/png" ? MP4_ART_PNG : MP4_ART_UNDEFINED;
}

/// 0 for what has no room, which is no smaller number: episodes of podcasts are numbered by their day.
std::uint16_t shortOf(std::int32_t number)
{
    return number > 0 && number <= 0xFFFF ? static_cast<std::uint16_t>(number) : std::uint16_t { 0 };
}

std::optional<MP4TagTrack> placeOf(const Facts& facts, std::string_view number, std::string_view total)
{
    MP4TagTrack place { shortOf(numberOf(facts, number)), shortOf(numberOf(facts, total)) };
    return place == MP4TagTrack {} ? std::nullopt : std::optional(place);
}

TagText valueOf(const std::string& text) { return text.empty() ? std::nullopt : TagText(text); }

/// An item with a value for each text.
void addTexts(MP4ItmfItemList& items, std::uint32_t code, const Texts& texts)
{
    MP4ItmfItem item { .code = code };
    for (const std::string& text : texts) {
        ByteView bytes = bytesOf(text);
        if (!text.empty())
            item.dataList.push_back({ .typeCode = MP4ItmfBasicType::Utf8, .value = { bytes.begin(), bytes.end() } });
    }
    if (!item.dataList.empty())
        items.push_back(std::move(item));
}

} // namespace

Bytes id3TagOf(const Facts& facts)
{
    Id3Writer tag;
    tag.text("TIT2", { textOf(facts, fact::Title) });
    tag.text("TPE1", textsOf(facts, fact::Artist));
    tag.text("TALB", { textOf(facts, fact::Album) });
    tag.text("TPE2", textsOf(facts, fact::AlbumArtist));
    tag.text("TCOM", textsOf(facts, fact::Composer));
    tag.text("TCON", textsOf(facts, fact::Genre));
    // The frame has no room for an offset from UTC; the time of the place is what people look for.
    tag.text("TDRC", { textOf(facts, fact::ContentCreated).substr(0, DateTimeLength) });
    tag.text("TRCK", { placeText(numberOf(facts, fact::TrackNumber), numberOf(facts, fact::TrackTotal)) });
    tag.text("TPOS", { placeText(numberOf(facts, fact::DiscNumber), numberOf(facts, fact::DiscTotal)) });
    if (int tempo = numberOf(facts, fact::AudioBpm); tempo > 0)
        tag.text("TBPM", { std::to_string(tempo) });
    if (isCompilation(facts))
        tag.text("TCMP", { "1" });
    tag.longText("COMM", textsOf(facts, fact::Comment));
    tag.longText("USLT", { textOf(facts, fact::AsText) });
    for (const FactPicture& picture : facts.pictures)
        tag.picture(picture);
    return tag.tag();
}

MP4ItmfItemList metadataItemsOf(const Facts& facts)
{
    MP4Tags tags = MP4TagsAlloc();
    MP4TagsSetName(tags, valueOf(textOf(facts, fact::Title)));
    MP4TagsSetAlbum(tags, valueOf(textOf(facts, fact::Album)));
    MP4TagsSetReleaseDate(tags, valueOf(textOf(facts, fact::ContentCreated)));
    MP4TagsSetLyrics(tags, valueOf(textOf(facts, fact::AsText)));
    MP4TagsSetTrack(tags, placeOf(facts, fact::TrackNumber, fact::TrackTotal));
    MP4TagsSetDisk(tags, placeOf(facts, fact::DiscNumber, fact::DiscTotal));
    if (std::uint16_t tempo = shortOf(numberOf(facts, fact::AudioBpm)); tempo > 0)
        MP4TagsSetTempo(tags, tempo);
    if (isCompilation(facts))
        MP4TagsSetCompilation(tags, std::uint8_t { 1 });
    MP4ItmfItemList items = itemsWithTags({}, tags);
    addTexts(items, fourCC("\251ART"), textsOf(facts, fact::Artist));
    addTexts(items, fourCC("aART"), textsOf(facts, fact::AlbumArtist));
    addTexts(items, fourCC("\251wrt"), textsOf(facts, fact::Composer));
    addTexts(items, fourCC("\251gen"), textsOf(facts, fact::Genre));
    addTexts(items, fourCC("\251cmt"), textsOf(facts, fact::Comment));
    auto drawn = std::ranges::find_if(
        facts.pictures, [](const FactPicture& picture) { return artworkType(picture) != MP4_ART_UNDEFINED; });
    if (drawn == facts.pictures.end())
        return items;
    MP4Tags cover = MP4TagsAlloc();
    MP4TagsAddArtwork(cover, { drawn->data, artworkType(*drawn) });
    MP4ItmfItemList withCover = itemsWithTags({}, cover);
    items.insert(items.end(), withCover.begin(), withCover.end());
    return items;
}

} // namespace mv
