#include "service/job/TagChanges.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <charconv>

namespace mv {

namespace {

using namespace std::string_view_literals;

// In place of a key's number, in front of the picture.
constexpr std::uint8_t Cover = 0xFF;

Error wrong() { return { Error::Kind::Format, "changes of tags that nobody makes" }; }

/// Takes digits of an exact count off the front, as a number of a range.
bool takeNumber(std::string_view& text, std::size_t digits, int least, int most)
{
    if (text.size() < digits || text.substr(0, digits).find_first_not_of("0123456789") != std::string_view::npos)
        return false;
    int number = 0;
    std::from_chars(text.data(), text.data() + digits, number);
    text.remove_prefix(digits);
    return number >= least && number <= most;
}

bool takeSign(std::string_view& text, char sign)
{
    if (!text.starts_with(sign))
        return false;
    text.remove_prefix(1);
    return true;
}

bool isZone(std::string_view text)
{
    if (text.empty() || text == "Z")
        return true;
    if (!takeSign(text, '+') && !takeSign(text, '-'))
        return false;
    return takeNumber(text, 2, 0, 23) && takeSign(text, ':') && takeNumber(text, 2, 0, 59) && text.empty();
}

bool isClock(std::string_view text)
{
    if (!takeNumber(text, 2, 0, 23))
        return false;
    if (text.empty())
        return true;
    if (!takeSign(text, ':') || !takeNumber(text, 2, 0, 59))
        return false;
    if (takeSign(text, ':')) {
        if (!takeNumber(text, 2, 0, 60))
            return false;
        if (takeSign(text, '.')) {
            auto digits = std::min(text.find_first_not_of("0123456789"), text.size());
            if (digits == 0)
                return false;
            text.remove_prefix(digits);
        }
    }
    return isZone(text);
}

Result<TagChanges::Values> takeValues(ByteReader& in)
{
    TagChanges::Values values;
    std::uint32_t count = in.u32le();
    for (std::uint32_t i = 0; i < count && !in.failed(); ++i)
        values.emplace_back(charsOf(in.take(in.u32le())));
    if (in.failed())
        return wrong();
    return values;
}

} // namespace

TagChanges TagChanges::removalOfTexts() const
{
    TagChanges removal;
    for (std::size_t key = 0; key < TagKeyCount; ++key) {
        if (values[key])
            removal.values[key] = Values();
    }
    return removal;
}

bool TagChanges::setsAnything() const
{
    return std::ranges::any_of(values, [](const auto& named) { return named && !named->empty(); })
        || (frontCover && !frontCover->empty());
}

std::uint16_t TagChanges::number(TagKey key) const
{
    const auto& named = (*this)[key];
    return named && !named->empty() ? static_cast<std::uint16_t>(leadingInteger(named->front())) : std::uint16_t { 0 };
}

bool isTagDate(std::string_view text)
{
    if (!takeNumber(text, 4, 1, 9999))
        return false;
    if (text.empty())
        return true;
    if (!takeSign(text, '-') || !takeNumber(text, 2, 1, 12))
        return false;
    if (text.empty())
        return true;
    if (!takeSign(text, '-') || !takeNumber(text, 2, 1, 31))
        return false;
    return text.empty() || (takeSign(text, 'T') && isClock(text));
}

std::string_view coverMimeType(ByteView picture)
{
    std::string_view text = charsOf(picture);
    if (text.starts_with("\xFF\xD8\xFF"sv))
        return "image/jpeg";
    return text.starts_with("\x89PNG\r\n\x1A\n"sv) ? "image/png"sv : ""sv;
}

Bytes encodeTagChanges(const TagChanges& changes)
{
    Bytes bytes;
    ByteWriter out(bytes);
    auto put = [&](ByteView view) {
        out.u32le(static_cast<std::uint32_t>(view.size()));
        out.bytes(view);
    };
    for (std::size_t key = 0; key < TagKeyCount; ++key) {
        if (!changes.values[key])
            continue;
        out.u8(static_cast<std::uint8_t>(key));
        out.u32le(static_cast<std::uint32_t>(changes.values[key]->size()));
        for (const std::string& value : *changes.values[key])
            put(bytesOf(value));
    }
    if (changes.frontCover) {
        out.u8(Cover);
        put(*changes.frontCover);
    }
    return bytes;
}

Result<TagChanges> decodeTagChanges(ByteView bytes)
{
    TagChanges changes;
    ByteReader in(bytes);
    while (!in.atEnd()) {
        std::uint8_t key = in.u8();
        if (key == Cover) {
            ByteView picture = in.take(in.u32le());
            changes.frontCover = Bytes(picture.begin(), picture.end());
        } else if (key < TagKeyCount) {
            MV_TRY(values, takeValues(in));
            changes.values[key] = std::move(values);
        } else {
            return wrong();
        }
        if (in.failed())
            return wrong();
    }
    return changes;
}

} // namespace mv
