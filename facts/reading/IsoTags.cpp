#include "facts/reading/IsoTags.h"

#include "Base/Core/Text.h"
#include "facts/reading/Genres.h"
#include "mp4/KeyedItems.h"
#include "mp4/MetadataItems.h"
#include "mp4/RepeatedFields.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <cmath>
#include <optional>

namespace mv {

namespace {

struct FieldOfItem {
    std::uint32_t code;
    TagField field;
};

constexpr std::array TextItems {
    FieldOfItem { fourCC("\251nam"), TagField::Title },
    FieldOfItem { fourCC("\251alb"), TagField::Album },
    FieldOfItem { fourCC("\251ART"), TagField::Artist },
    FieldOfItem { fourCC("aART"), TagField::AlbumArtist },
    FieldOfItem { fourCC("\251wrt"), TagField::Composer },
    FieldOfItem { fourCC("\251gen"), TagField::Genre },
    FieldOfItem { fourCC("\251cmt"), TagField::Comment },
    FieldOfItem { fourCC("\251day"), TagField::Date },
    FieldOfItem { fourCC("\251lyr"), TagField::Lyrics },
};

constexpr std::uint32_t CoverCode = fourCC("covr");
constexpr std::uint32_t PlaceCode = fourCC("\251xyz");
constexpr std::uint32_t GenreNumberCode = fourCC("gnre");
constexpr std::uint64_t MaxTextItem = std::uint64_t { 1 } << 20;

std::optional<std::uint64_t> numberOf(ByteView value)
{
    if (value.empty() || value.size() > 8)
        return std::nullopt;
    std::uint64_t number = 0;
    for (std::uint8_t byte : value)
        number = number << 8 | byte;
    return number;
}

void addValue(TagSink& sink, TagField field, const MP4ItmfData& data)
{
    if (data.typeCode == MP4ItmfBasicType::Utf16)
        sink.texts.add(field, utf8FromUtf16BE(data.value).value_or(std::string {}));
    else
        sink.texts.addUtf8OrLegacy(field, data.value);
}

/// Two bytes of nothing, the place, the total.
void addPlace(TagSink& sink, ByteView value, TagField place, TagField total)
{
    ByteReader fields(value);
    fields.skip(2);
    std::uint16_t index = fields.u16be();
    std::uint16_t of = fields.u16be();
    if (index != 0)
        sink.texts.add(place, std::to_string(index));
    if (of != 0)
        sink.texts.add(total, std::to_string(of));
}

void addNumberItem(TagSink& sink, std::uint32_t code, ByteView value)
{
    if (code == fourCC("trkn"))
        return addPlace(sink, value, TagField::Track, TagField::TrackTotal);
    if (code == fourCC("disk"))
        return addPlace(sink, value, TagField::Disc, TagField::DiscTotal);
    auto number = numberOf(value);
    if (!number)
        return;
    if (code == fourCC("tmpo"))
        sink.texts.add(TagField::Tempo, std::to_string(*number));
    else if (code == fourCC("cpil"))
        sink.texts.add(TagField::Compilation, std::to_string(*number));
    else if (code == GenreNumberCode && *number > 0 && *number <= 256)
        sink.texts.add(TagField::Genre, genreOfNumber(static_cast<std::uint32_t>(*number - 1)));
}

bool isNumberCode(std::uint32_t code)
{
    return code == fourCC("trkn") || code == fourCC("disk") || code == fourCC("tmpo") || code == fourCC("cpil");
}

const FieldOfItem* textItem(std::uint32_t code)
{
    auto row
        = std::find_if(TextItems.begin(), TextItems.end(), [&](const FieldOfItem& each) { return each.code == code; });
    return row == TextItems.end() ? nullptr : row;
}

/// A signed decimal number at the front, with its sign; `text` moves behind it.
std::optional<double> takeSigned(std::string_view& text)
{
    if (text.empty() || (text[0] != '+' && text[0] != '-'))
        return std::nullopt;
    std::size_t end = 1;
    while (end < text.size() && ((text[end] >= '0' && text[end] <= '9') || text[end] == '.'))
        ++end;
    double value = 0;
    auto [stop, error] = std::from_chars(text.data() + 1, text.data() + end, value);
    if (error != std::errc {})
        return std::nullopt;
    bool isNegative = text[0] == '-';
    text.remove_prefix(end);
    return isNegative ? -value : value;
}

/// ISO 6709: "+37.7749-122.4194+010.5/".
void addPlaceText(Facts& facts, std::string_view text)
{
    auto latitude = takeSigned(text);
    auto longitude = latitude ? takeSigned(text) : std::nullopt;
    if (!longitude || *latitude < -90 || *latitude > 90 || *longitude < -180 || *longitude > 180)
        return;
    facts.setReal(fact::Latitude, *latitude);
    facts.setReal(fact::Longitude, *longitude);
    if (auto altitude = takeSigned(text))
        facts.setReal(fact::Altitude, *altitude);
}

MP4ItmfItem itemAt(StructureReader& reader, const Box& box)
{
    auto payload = reader.copy(box.payloadOffset(), box.payloadSize());
    return payload ? parseItem(box.type, *payload) : MP4ItmfItem {};
}

/// Pictures are copied only where they are asked for.
void addCover(TagSink& sink, StructureReader& reader, const Box& box)
{
    constexpr std::uint64_t EmptyValue = 16; // the header of its box, its type and its locale
    if (box.payloadSize() <= EmptyValue)
        return;
    if (!sink.wantsPictures)
        return sink.notePicture();
    if (box.payloadSize() > TagSink::MaxPictureBytes)
        return;
    for (const MP4ItmfData& data : itemAt(reader, box).dataList)
        sink.addPicture(FrontCoverType, {}, {}, data.value);
}

void addItem(TagSink& sink, Facts& facts, StructureReader& reader, const Box& box)
{
    if (box.type == CoverCode)
        return addCover(sink, reader, box);
    if (box.type == PlaceCode && box.payloadSize() <= MaxTextItem) {
        for (const MP4ItmfData& data : itemAt(reader, box).dataList)
            addPlaceText(facts, charsOf(data.value));
    }
    const FieldOfItem* row = textItem(box.type);
    if ((!row && !isNumberCode(box.type)) || box.payloadSize() > MaxTextItem)
        return;
    for (const MP4ItmfData& data : itemAt(reader, box).dataList) {
        if (row)
            addValue(sink, row->field, data);
        else
            addNumberItem(sink, box.type, data.value);
    }
}

void addItems(TagSink& sink, Facts& facts, StructureReader& reader, const Box& list)
{
    std::optional<Box> genreNumber;
    BoxWalker walker(reader, list);
    for (std::size_t i = 0; i < MaxMetadataItems; ++i) {
        auto box = walker.next();
        if (!box || box->overruns)
            break;
        if (box->type == GenreNumberCode)
            genreNumber = box;
        else
            addItem(sink, facts, reader, *box);
    }
    // The text goes before the number where both are there.
    sink.texts.beginTag();
    if (genreNumber && genreNumber->payloadSize() <= MaxTextItem) {
        for (const MP4ItmfData& data : itemAt(reader, *genreNumber).dataList)
            addNumberItem(sink, GenreNumberCode, data.value);
    }
}

// QuickTime's keys

void addKeyed(TagSink& sink, Facts& facts, const std::string& key, const MP4ItmfData& data)
{
    std::string text(charsOf(data.value));
    if (data.typeCode == MP4ItmfBasicType::Utf16)
        text = utf8FromUtf16BE(data.value).value_or(std::string {});
    text = cleanedUtf8(text.substr(0, text.find('\0')));
    if (text.empty())
        return;
    if (key == "make")
        facts.set(fact::CameraMake, text);
    else if (key == "model")
        facts.set(fact::CameraModel, text);
    else if (key == "location.ISO6709")
        addPlaceText(facts, text);
    if (const FieldOfItem* row = textItem(itemOfKey(key)))
        addValue(sink, row->field, data);
}

void addKeyedItems(TagSink& sink, Facts& facts, StructureReader& reader, const MovieFacts& movie)
{
    sink.texts.beginTag();
    for (const KeyedItem& item : keyedItems(reader, movie.metaBox, movie.userDataBoxes)) {
        if (item.box.payloadSize() > MaxTextItem)
            continue;
        for (const MP4ItmfData& data : itemAt(reader, item.box).dataList)
            addKeyed(sink, facts, item.key, data);
    }
}

// User data

/// QuickTime's: a length and a language in front of each text.
void addQuickTimeText(TagSink& sink, Facts& facts, StructureReader& reader, const Box& box)
{
    auto payload = reader.copy(box.payloadOffset(), box.payloadSize());
    if (!payload)
        return;
    ByteReader fields(*payload);
    std::uint16_t size = fields.u16be();
    fields.skip(2);
    ByteView text = fields.take(std::min<std::size_t>(size, fields.remaining()));
    if (text.empty())
        return;
    std::string clean = cleanedUtf8(charsOf(text).substr(0, charsOf(text).find('\0')));
    if (box.type == PlaceCode)
        return addPlaceText(facts, clean);
    if (box.type == fourCC("\251mak") && !clean.empty())
        facts.set(fact::CameraMake, clean);
    if (box.type == fourCC("\251mod") && !clean.empty())
        facts.set(fact::CameraModel, clean);
    if (const FieldOfItem* row = textItem(box.type))
        sink.texts.addUtf8OrLegacy(row->field, text);
}

/// 3GPP's: version and flags, a language, a text of UTF-8 or, behind a mark, of UTF-16.
void addMobileText(TagSink& sink, StructureReader& reader, const Box& box)
{
    auto payload = reader.copy(box.payloadOffset(), box.payloadSize());
    if (!payload)
        return;
    ByteReader fields(*payload);
    fields.skip(4);
    if (box.type == fourCC("yrrc")) {
        std::uint16_t year = fields.u16be();
        if (year != 0)
            sink.texts.add(TagField::Date, formatText("%04u", unsigned { year }));
        return;
    }
    fields.skip(2);
    ByteView text = fields.rest();
    const FieldOfItem* row = textItem(itemOfUserData(box.type));
    if (!row || fields.failed())
        return;
    if (text.size() >= 2 && text[0] == 0xFE && text[1] == 0xFF)
        sink.texts.add(row->field, utf8FromUtf16BE(text.subspan(2)).value_or(std::string {}));
    else
        sink.texts.addUtf8OrLegacy(row->field, text);
}

/// 3GPP's: version and flags, a language, a name of the place, its role, then degrees and metres in parts of 65,536
/// (3GPP TS 26.244, 8.6). Other places of a file are more exact.
void addLocation(Facts& facts, StructureReader& reader, const Box& box)
{
    constexpr double Parts = 65536;
    constexpr std::size_t NameOffset = 4 + 2;
    auto payload = reader.copy(box.payloadOffset(), box.payloadSize());
    if (!payload || payload->size() < NameOffset + 2 || facts.contains(fact::Latitude))
        return;
    ByteReader fields(*payload);
    fields.skip(NameOffset);
    const bool isUtf16 = (*payload)[NameOffset] == 0xFE && (*payload)[NameOffset + 1] == 0xFF;
    while (!fields.failed() && (isUtf16 ? fields.u16be() : fields.u8()) != 0) { }
    fields.skip(1);
    auto degrees = [&] { return static_cast<std::int32_t>(fields.u32be()) / Parts; };
    const double longitude = degrees();
    const double latitude = degrees();
    const double altitude = degrees();
    if (fields.failed() || std::abs(latitude) > 90 || std::abs(longitude) > 180)
        return;
    facts.setReal(fact::Latitude, latitude);
    facts.setReal(fact::Longitude, longitude);
    // The field is always there, and 0 where nobody knows.
    if (altitude != 0)
        facts.setReal(fact::Altitude, altitude);
}

void addUserData(TagSink& sink, Facts& facts, StructureReader& reader, const Box& udta)
{
    constexpr std::uint32_t Copyright = 0xA9000000;
    sink.texts.beginTag();
    BoxWalker walker(reader, udta);
    while (auto box = walker.next()) {
        if (box->overruns)
            break;
        if (box->payloadSize() > MaxTextItem)
            continue;
        if ((box->type & 0xFF000000) == Copyright)
            addQuickTimeText(sink, facts, reader, *box);
        else if (box->type == fourCC("loci"))
            addLocation(facts, reader, *box);
        else if (box->type != fourCC("meta"))
            addMobileText(sink, reader, *box);
    }
}

} // namespace

void addIsoTags(TagSink& sink, Facts& facts, StructureReader& reader, const MovieFacts& movie)
{
    sink.texts.beginTag();
    if (auto place = findMetadata(reader, movie.userDataBoxes))
        addItems(sink, facts, reader, place->ilst);
    addKeyedItems(sink, facts, reader, movie);
    for (const Box& udta : movie.userDataBoxes)
        addUserData(sink, facts, reader, udta);
}

} // namespace mv
