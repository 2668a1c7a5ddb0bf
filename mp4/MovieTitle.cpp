#include "mp4/MovieTitle.h"

#include "Base/Core/Text.h"
#include "mp4/KeyedItems.h"
#include "mp4/MetadataItems.h"

namespace mv {

namespace {

constexpr std::size_t MaxTitleBytes = 4096; // what one peek shows; a title is a line

/// Up to the first zero byte, as valid UTF-8; nothing when that is empty.
std::optional<std::string> titleFrom(std::string_view text)
{
    std::string clean = cleanedUtf8(text.substr(0, text.find('\0')));
    if (clean.empty())
        return std::nullopt;
    return clean;
}

std::optional<std::string> titleOfData(StructureReader& reader, const Box& item)
{
    auto data = findChild(reader, item, fourCC("data"));
    if (!data)
        return std::nullopt;
    ByteReader fields(payloadStart(reader, *data, 8 + MaxTitleBytes));
    auto type = static_cast<MP4ItmfBasicType>(fields.u32be() & 0xFFFFFF);
    fields.skip(4);
    ByteView value = fields.rest();
    if (type == MP4ItmfBasicType::Utf16)
        return titleFrom(utf8FromUtf16BE(value).value_or(std::string {}));
    return titleFrom(charsOf(value));
}

std::optional<std::string> itunesTitle(StructureReader& reader, const MovieFacts& facts)
{
    auto place = findMetadata(reader, facts.userDataBoxes);
    auto item = place ? findChild(reader, place->ilst, fourCC("\251nam")) : std::nullopt;
    return item ? titleOfData(reader, *item) : std::nullopt;
}

std::optional<std::string> keyedTitle(StructureReader& reader, const MovieFacts& facts)
{
    for (const KeyedItem& item : keyedItems(reader, facts.metaBox, facts.userDataBoxes)) {
        if (item.key != "title")
            continue;
        if (auto title = titleOfData(reader, item.box))
            return title;
    }
    return std::nullopt;
}

/// A list of (length, language, text); the first text is taken.
std::optional<std::string> userDataTitle(StructureReader& reader, const Box& udta)
{
    auto box = findChild(reader, udta, fourCC("\251nam"));
    if (!box)
        return std::nullopt;
    ByteReader fields(payloadStart(reader, *box, 4 + MaxTitleBytes));
    std::uint16_t length = fields.u16be();
    fields.skip(2);
    return titleFrom(charsOf(fields.take(std::min<std::size_t>(length, fields.remaining()))));
}

/// 3GPP: version, language, then UTF-8 or UTF-16 with its mark.
std::optional<std::string> thirdGenerationTitle(StructureReader& reader, const Box& udta)
{
    auto box = findChild(reader, udta, fourCC("titl"));
    if (!box)
        return std::nullopt;
    ByteReader fields(payloadStart(reader, *box, 6 + MaxTitleBytes));
    fields.skip(6);
    ByteView text = fields.rest();
    if (text.size() >= 2 && text[0] == 0xFE && text[1] == 0xFF)
        return titleFrom(utf8FromUtf16BE(text.subspan(2)).value_or(std::string {}));
    if (text.size() >= 2 && text[0] == 0xFF && text[1] == 0xFE)
        return titleFrom(utf8FromUtf16LE(text.subspan(2)).value_or(std::string {}));
    return titleFrom(charsOf(text));
}

} // namespace

std::optional<std::string> movieTitle(StructureReader& reader, const MovieFacts& facts)
{
    if (auto title = itunesTitle(reader, facts))
        return title;
    if (auto title = keyedTitle(reader, facts))
        return title;
    for (auto source : { userDataTitle, thirdGenerationTitle }) {
        for (const Box& udta : facts.userDataBoxes) {
            if (auto title = source(reader, udta))
                return title;
        }
    }
    return std::nullopt;
}

} // namespace mv
