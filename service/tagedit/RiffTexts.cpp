#include "service/tagedit/RiffTexts.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "facts/reading/LegacyText.h"
#include "service/tagedit/PlaceText.h"

#include <algorithm>
#include <array>
#include <charconv>

namespace mv {

namespace {

constexpr std::size_t EntryHeader = 8;

struct TextRow {
    TagKey key;
    std::uint32_t id;
};
constexpr std::array InfoRows {
    TextRow { TagKey::Title, fourCC("INAM") },
    TextRow { TagKey::Album, fourCC("IPRD") },
    TextRow { TagKey::Artist, fourCC("IART") },
    TextRow { TagKey::Comment, fourCC("ICMT") },
    TextRow { TagKey::Genre, fourCC("IGNR") },
    TextRow { TagKey::Date, fourCC("ICRD") },
    TextRow { TagKey::Composer, fourCC("IMUS") },
    TextRow { TagKey::Track, fourCC("ITRK") },
    TextRow { TagKey::Track, fourCC("IPRT") },
    TextRow { TagKey::TrackTotal, fourCC("IFRM") },
};
constexpr std::array AiffRows {
    TextRow { TagKey::Title, fourCC("NAME") },
    TextRow { TagKey::Artist, fourCC("AUTH") },
    TextRow { TagKey::Comment, fourCC("ANNO") },
};

template <class Rows> const TextRow* rowOf(const Rows& rows, std::uint32_t id)
{
    auto row = std::ranges::find(rows, id, &TextRow::id);
    return row == rows.end() ? nullptr : &*row;
}

/// Where several values have one place.
std::string joined(const TagChanges::Values& values)
{
    std::string text;
    for (const std::string& value : values)
        text += (text.empty() ? "" : "; ") + value;
    return text;
}

template <class Take> void eachEntry(ByteView list, const Take& take)
{
    ByteReader in(list);
    while (in.remaining() >= EntryHeader) {
        std::uint32_t id = in.u32be();
        ByteView text = in.take(std::min<std::size_t>(in.u32le(), in.remaining()));
        in.skip(std::min<std::size_t>(text.size() % 2, in.remaining()));
        take(id, text);
    }
}

void putEntry(ByteWriter& out, std::uint32_t id, ByteView text)
{
    out.u32be(id);
    out.u32le(static_cast<std::uint32_t>(text.size()));
    out.bytes(text);
    out.zeros(text.size() % 2);
}

/// The values of each key once. Texts end in a zero.
class NewEntries {
public:
    NewEntries(const TagChanges& changes, ByteWriter& out)
        : m_changes(changes)
        , m_out(out)
    {
    }
    void put(const TextRow& row)
    {
        if (std::ranges::find(m_done, row.key) != m_done.end())
            return;
        m_done.push_back(row.key);
        putText(row.id, joined(*m_changes[row.key]));
    }
    /// Of "3/12" what is not named of the two stays; the total needs no entry of its own.
    void putPlace(const TextRow& row, std::string_view old)
    {
        if (std::ranges::find(m_done, row.key) != m_done.end())
            return;
        m_done.insert(m_done.end(), { TagKey::Track, TagKey::TrackTotal });
        putText(row.id, placeText(old, m_changes, TagKey::Track, TagKey::TrackTotal));
    }

private:
    void putText(std::uint32_t id, const std::string& text)
    {
        if (!text.empty())
            putEntry(m_out, id, bytesOf(text + '\0'));
    }

    const TagChanges& m_changes;
    ByteWriter& m_out;
    std::vector<TagKey> m_done;
};

std::string untilZero(ByteView bytes)
{
    std::string_view text = charsOf(bytes);
    return std::string(text.substr(0, text.find('\0')));
}

/// Nothing for what no format holds as a number.
std::optional<std::string> numberFrom(std::string_view text)
{
    std::int32_t number = 0;
    auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    bool isNumber = error == std::errc {} && end == text.data() + text.size();
    return isNumber && number > 0 && number <= MaxTagNumber ? std::optional(std::to_string(number)) : std::nullopt;
}

/// Not where the key's values have a form that this one has not.
void addWhereMissing(TagChanges& all, TagKey key, const std::string& value)
{
    auto add = [&](TagKey to, std::optional<std::string> text) {
        if (text && !text->empty() && !all.isNamed(to))
            all[to] = TagChanges::Values { std::move(*text) };
    };
    if (key == TagKey::Date)
        return add(key, isTagDate(value) ? std::optional(value) : std::nullopt);
    if (key != TagKey::Track && key != TagKey::TrackTotal)
        return add(key, value);
    auto slash = std::min(value.find('/'), value.size()); // "3/12"
    add(key, numberFrom(std::string_view(value).substr(0, slash)));
    if (slash < value.size())
        add(TagKey::TrackTotal, numberFrom(std::string_view(value).substr(slash + 1)));
}

} // namespace

Bytes changedInfoList(ByteView list, const TagChanges& changes, bool isFirst)
{
    Bytes content;
    ByteWriter out(content);
    out.text("INFO");
    const std::size_t empty = content.size();
    NewEntries entries(changes, out);
    const bool namesPlace = changes.isNamed(TagKey::Track) || changes.isNamed(TagKey::TrackTotal);
    eachEntry(list, [&](std::uint32_t id, ByteView text) {
        const TextRow* row = rowOf(InfoRows, id);
        const std::string old = untilZero(text);
        const bool isWholePlace = row && row->key == TagKey::Track && old.find('/') != std::string::npos;
        if (isWholePlace && namesPlace) {
            if (isFirst)
                entries.putPlace(*row, old);
        } else if (!row || !changes.isNamed(row->key))
            putEntry(out, id, text);
        else if (isFirst)
            entries.put(*row);
    });
    for (const TextRow& row : InfoRows) {
        if (isFirst && changes.isNamed(row.key))
            entries.put(row);
    }
    return content.size() > empty ? content : Bytes();
}

std::optional<std::string> changedAiffText(std::uint32_t id, const TagChanges& changes, bool isFirst)
{
    const TextRow* row = rowOf(AiffRows, id);
    if (!row || !changes.isNamed(row->key))
        return std::nullopt;
    return isFirst ? joined(*changes[row->key]) : std::string();
}

bool isAiffText(std::uint32_t id) { return rowOf(AiffRows, id); }

void addInfoTexts(ByteView list, std::vector<RiffText>& texts)
{
    eachEntry(list, [&](std::uint32_t id, ByteView text) {
        if (const TextRow* row = rowOf(InfoRows, id))
            texts.push_back({ row->key, untilZero(text) });
    });
}

void addAiffText(std::uint32_t id, ByteView content, std::vector<RiffText>& texts)
{
    if (const TextRow* row = rowOf(AiffRows, id))
        texts.push_back({ row->key, untilZero(content) });
}

TagChanges withTexts(const TagChanges& changes, const std::vector<RiffText>& texts)
{
    std::string together;
    for (const RiffText& each : texts)
        together += each.text + '\n';
    const Charset charset = guessedCharset(bytesOf(together));
    TagChanges all = changes;
    for (const RiffText& each : texts) {
        bool isUtf8 = isValidUtf8(each.text);
        addWhereMissing(all, each.key, isUtf8 ? each.text : utf8FromCharset(charset, bytesOf(each.text)));
    }
    return all;
}

} // namespace mv
