#include "mp4/MovieTitle.h"

#include "Base/Core/Text.h"
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

/// The 1-based place of the title's key in a keys box; 0 when it has none.
std::uint32_t titleKey(StructureReader& reader, const Box& keys)
{
    ByteReader header(payloadStart(reader, keys, 8));
    header.skip(4);
    std::uint32_t count = header.u32be();
    if (header.failed())
        return 0;
    BoxWalker walker(reader, keys.payloadOffset() + 8, keys.end());
    for (std::uint32_t index = 1; index <= count; ++index) {
        auto key = walker.next(); // a key has the form of a box: its namespace is the type
        if (!key)
            return 0;
        std::string_view name = charsOf(payloadStart(reader, *key, 64));
        if (name == "com.apple.quicktime.title" || name == "title")
            return index;
    }
    return 0;
}

std::optional<std::string> keyedTitle(StructureReader& reader, const Box& meta)
{
    if (metaHandler(reader, meta) != fourCC("mdta"))
        return std::nullopt;
    std::optional<Box> list;
    std::uint32_t key = 0;
    BoxWalker walker(reader, metaChildrenOffset(reader, meta), meta.end());
    while (auto box = walker.next()) {
        if (box->type == fourCC("keys"))
            key = titleKey(reader, *box);
        else if (box->type == fourCC("ilst"))
            list = box;
    }
    auto item = list && key ? findChild(reader, *list, key) : std::nullopt;
    return item ? titleOfData(reader, *item) : std::nullopt;
}

std::optional<std::string> keyedUserDataTitle(StructureReader& reader, const Box& udta)
{
    auto meta = findChild(reader, udta, fourCC("meta"));
    return meta ? keyedTitle(reader, *meta) : std::nullopt;
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
    if (auto title = facts.metaBox ? keyedTitle(reader, *facts.metaBox) : std::nullopt)
        return title;
    for (auto source : { keyedUserDataTitle, userDataTitle, thirdGenerationTitle }) {
        for (const Box& udta : facts.userDataBoxes) {
            if (auto title = source(reader, udta))
                return title;
        }
    }
    return std::nullopt;
}

} // namespace mv
