#include "service/tagedit/RiffTexts.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "facts/reading/RiffTags.h"
#include "service/tagedit/PlaceText.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::size_t EntryHeader = 8;

TagKey keyOf(const RiffField& row)
{
    switch (row.field) {
    case TagField::Album:
        return TagKey::Album;
    case TagField::Artist:
        return TagKey::Artist;
    case TagField::Comment:
        return TagKey::Comment;
    case TagField::Genre:
        return TagKey::Genre;
    case TagField::Date:
        return TagKey::Date;
    case TagField::Composer:
        return TagKey::Composer;
    case TagField::Track:
        return TagKey::Track;
    case TagField::TrackTotal:
        return TagKey::TrackTotal;
    default:
        return TagKey::Title;
    }
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
    void put(const RiffField& row)
    {
        if (std::ranges::find(m_done, keyOf(row)) != m_done.end())
            return;
        m_done.push_back(keyOf(row));
        putText(row.id, joined(*m_changes[keyOf(row)]));
    }
    /// Of "3/12" what is not named of the two stays; the total needs no entry of its own.
    void putPlace(const RiffField& row, std::string_view old)
    {
        if (std::ranges::find(m_done, keyOf(row)) != m_done.end())
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
        const RiffField* row = riffField(InfoFields, id);
        const std::string old = untilZero(text);
        const bool isWholePlace = row && keyOf(*row) == TagKey::Track && old.find('/') != std::string::npos;
        if (isWholePlace && namesPlace) {
            if (isFirst)
                entries.putPlace(*row, old);
        } else if (!row || !changes.isNamed(keyOf(*row)))
            putEntry(out, id, text);
        else if (isFirst)
            entries.put(*row);
    });
    for (const RiffField& row : InfoFields) {
        if (isFirst && changes.isNamed(keyOf(row)))
            entries.put(row);
    }
    return content.size() > empty ? content : Bytes();
}

std::optional<std::string> changedAiffText(std::uint32_t id, const TagChanges& changes, bool isFirst)
{
    const RiffField* row = riffField(AiffFields, id);
    if (!row || !changes.isNamed(keyOf(*row)))
        return std::nullopt;
    return isFirst ? joined(*changes[keyOf(*row)]) : std::string();
}

} // namespace mv
