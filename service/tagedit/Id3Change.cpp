#include "service/tagedit/Id3Change.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "id3/EncodedText.h"
#include "id3/FrameText.h"
#include "id3/V23Form.h"
#include "service/tagedit/OldTagChange.h"
#include "service/tags/CarriedFrames.h"
#include "service/tags/Id3FrameList.h"
#include "service/tags/Id3TagLayout.h"

#include <algorithm>
#include <span>
#include <utility>

namespace mv {

namespace {

constexpr std::uint8_t FrontCoverType = 3;
constexpr std::uint8_t TagUnsynchronised = 0x80;
constexpr std::uint8_t FrameUnsynchronised = 0x02; // in the second byte of v2.4's flags

using FrameIds = std::span<const std::string_view>;

/// A frame of the tag that is written.
struct Frame {
    std::string id; ///< in v2.3
    bool isNameless = false; ///< many readers stop at such a one
    bool isPlainComment = false;
    bool isCalledComment = false; ///< a text of the user's, of which FFmpeg makes a comment
    bool isFrontCover = false;
    std::string text; ///< of places alone
    Bytes bytes; ///< with its header
};

bool isName(std::string_view id)
{
    return std::all_of(id.begin(), id.end(), [](char c) { return (c >= 'A' && c <= 'Z') || (c >= '0' && c <= '9'); });
}

/// A size as the version writes it.
void putSize(ByteWriter& out, int version, std::size_t size)
{
    if (version != 4)
        return out.u32be(static_cast<std::uint32_t>(size));
    for (int shift = 21; shift >= 0; shift -= 7)
        out.u8(static_cast<std::uint8_t>(size >> shift & 0x7F));
}

Bytes frameBytes(int version, std::string_view id, std::uint16_t flags, ByteView content)
{
    Bytes bytes;
    bytes.reserve(Id3Frame::HeaderSize + content.size());
    ByteWriter out(bytes);
    out.text(id);
    putSize(out, version, content.size());
    out.u16be(flags);
    out.bytes(content);
    return bytes;
}

bool isFrontCover(const TagFrame& frame)
{
    if (frame.id != "APIC" || !frame.readable)
        return false;
    auto parts = splitPicture(frame.storedId, frame.body);
    return parts && parts->pictureType == FrontCoverType;
}

bool isCalledComment(const TagFrame& frame)
{
    if (frame.id != "TXXX" || !frame.readable || frame.body.empty())
        return false;
    std::uint8_t encoding = frame.body[0];
    ByteView strings = frame.body.subspan(1);
    ByteView description = takeString(encoding, strings);
    auto name = utf8FromUtf16LE(utf16LEFromEncoded(encoding, description));
    return name && equalIgnoringAsciiCase(*name, "comment");
}

Frame describedFrame(const TagFrame& frame)
{
    Frame result { .id = frame.id, .isNameless = !isName(frame.id) };
    result.isPlainComment = isPlainComment(frame);
    result.isCalledComment = isCalledComment(frame);
    result.isFrontCover = isFrontCover(frame);
    if (frame.readable && (frame.id == "TRCK" || frame.id == "TPOS"))
        result.text = frameText(frame).value_or(std::string());
    return result;
}

/// As it stands in a tag of the same version. Sizes are written as the version has them, which not every program does.
Frame carriedFrame(const TagFrame& frame, bool tagUnsynchronised)
{
    Frame result = describedFrame(frame);
    ByteReader in(frame.stored);
    std::string_view id = charsOf(in.take(4));
    in.skip(4);
    std::uint16_t flags = in.u16be();
    if (tagUnsynchronised)
        flags |= FrameUnsynchronised; // said once for all frames before
    result.bytes = frameBytes(frame.majorVersion, id, flags, in.rest());
    return result;
}

Frame carriedFrame(const Id3Frame& frame)
{
    constexpr std::uint16_t Packed = 0x00E0; // compressed, encrypted, grouped
    TagFrame described { .majorVersion = 3, .id = frame.id, .body = frame.content, .storedId = frame.id };
    described.readable = (frame.flags & Packed) == 0;
    Frame result = describedFrame(described);
    result.isPlainComment = frame.isPlainComment;
    result.bytes = frameBytes(3, frame.id, frame.flags, frame.content);
    return result;
}

bool areAll(const std::vector<Id3v2Tag>& tags, int version)
{
    return std::all_of(tags.begin(), tags.end(), [&](const Id3v2Tag& tag) { return tag.majorVersion() == version; });
}

bool isAscii(std::string_view text)
{
    return std::all_of(text.begin(), text.end(), [](unsigned char c) { return c < 0x80; });
}

/// The bodies of new frames, in the encoding that the version knows best.
class NewBody {
public:
    explicit NewBody(int version)
        : m_version(version)
    {
    }

    Bytes texts(const TagChanges::Values& values) const { return body({}, values, false); }
    /// No description, and a language that says nothing.
    Bytes comment(const TagChanges::Values& values) const { return body("XXX", values, true); }

private:
    Bytes body(std::string_view language, const TagChanges::Values& values, bool isDescribed) const
    {
        return m_version == 4 ? utf8Body(language, values, isDescribed) : utf16Body(language, values, isDescribed);
    }
    static Bytes utf8Body(std::string_view language, const TagChanges::Values& values, bool isDescribed)
    {
        bool isPlain = std::all_of(values.begin(), values.end(), isAscii);
        Bytes bytes { isPlain ? Id3EncodingLatin1 : Id3EncodingUtf8 };
        ByteWriter out(bytes);
        out.text(language);
        bool isFirst = !isDescribed;
        for (const std::string& value : values) {
            if (!isFirst)
                out.u8(0);
            isFirst = false;
            out.text(value);
        }
        return bytes;
    }
    static Bytes utf16Body(std::string_view language, const TagChanges::Values& values, bool isDescribed)
    {
        EncodedBody body;
        body.raw(bytesOf(language));
        if (isDescribed)
            body.string(Bytes());
        bool isFirst = !isDescribed;
        for (const std::string& value : values) {
            if (!isFirst)
                body.terminator();
            isFirst = false;
            body.string(Id3EncodingUtf8, bytesOf(value));
        }
        return body.bytes();
    }

    const int m_version;
};

Bytes pictureBody(ByteView picture)
{
    Bytes bytes { Id3EncodingLatin1 };
    ByteWriter out(bytes);
    out.text(coverMimeType(picture));
    out.u8(0);
    out.u8(FrontCoverType);
    out.u8(0); // no description
    out.bytes(picture);
    return bytes;
}

struct TextRow {
    TagKey key;
    std::string_view id;
};
constexpr TextRow TextRows[] = {
    { TagKey::Title, "TIT2" },
    { TagKey::Album, "TALB" },
    { TagKey::Artist, "TPE1" },
    { TagKey::AlbumArtist, "TPE2" },
    { TagKey::Composer, "TCOM" },
    { TagKey::Genre, "TCON" },
};

// A new date takes the place of the date alone; without one nothing must stay that stands in for it.
constexpr std::string_view DateIds[] = { "TYER", "TDAT", "TIME", "TDRC" };
constexpr std::string_view AllDateIds[] = { "TYER", "TDAT", "TIME", "TDRC", "TDRL", "TDOR", "TORY" };

/// The frames of a tag, first those that are there, then with the changes.
class FrameSet {
public:
    explicit FrameSet(const TagSet& tags)
    {
        const auto& counting = tags.countingTags();
        if (areAll(counting, 4) || areAll(counting, 3)) {
            m_version = counting.empty() ? 4 : counting.front().majorVersion();
            for (const Id3v2Tag& tag : counting)
                carry(tag);
        } else {
            m_version = 3;
            const Id3FrameList list = Id3FrameList::carriedFrom(tags);
            for (const Id3Frame& frame : list.frames())
                m_frames.push_back(carriedFrame(frame));
        }
        std::stable_partition(m_frames.begin(), m_frames.end(), [](const Frame& frame) { return !frame.isNameless; });
        if (counting.empty() && tags.id3v1)
            takeOver(*tags.id3v1);
    }

    void change(const TagChanges& changes)
    {
        for (const TextRow& row : TextRows) {
            if (const auto& values = changes[row.key])
                setTexts(row.id, row.key == TagKey::Genre ? escapedGenres(*values) : *values);
        }
        if (const auto& values = changes[TagKey::Comment])
            setComments(*values);
        if (const auto& values = changes[TagKey::Date])
            setDate(values->empty() ? std::string() : values->front());
        setPlace("TRCK", changes, TagKey::Track, TagKey::TrackTotal);
        setPlace("TPOS", changes, TagKey::Disc, TagKey::DiscTotal);
        if (changes.frontCover)
            setCover(*changes.frontCover);
    }

    Result<Id3NewTag> rendered() const
    {
        std::size_t total = 0;
        for (const Frame& frame : m_frames)
            total += frame.bytes.size();
        if (total > MaxTagBytes)
            return Error { Error::Kind::Limit, "the tag would be larger than tags are read" };
        Id3NewTag tag { m_version, {} };
        tag.frames.reserve(total);
        for (const Frame& frame : m_frames)
            tag.frames.insert(tag.frames.end(), frame.bytes.begin(), frame.bytes.end());
        return tag;
    }

private:
    void carry(const Id3v2Tag& tag)
    {
        bool isUnsynchronised = tag.majorVersion() == 4 && (tag.header().flags & TagUnsynchronised);
        for (const TagFrame& frame : tag.frames())
            m_frames.push_back(carriedFrame(frame, isUnsynchronised));
    }

    void takeOver(const Id3v1Tag& tag)
    {
        auto take = [&](std::string_view id, ByteView text) {
            if (!text.empty())
                add(id, NewBody(m_version).texts({ utf8FromLegacy(text) }));
        };
        take("TIT2", tag.title);
        take("TPE1", tag.artist);
        take("TALB", tag.album);
        bool hasYear = std::any_of(tag.year.begin(), tag.year.end(), [](auto c) { return c >= '1' && c <= '9'; });
        if (hasYear)
            take("TDRC", tag.year);
        if (!tag.comment.empty())
            add("COMM", NewBody(m_version).comment({ utf8FromLegacy(tag.comment) })).isPlainComment = true;
        if (tag.track != 0) {
            std::string track = std::to_string(tag.track);
            add("TRCK", NewBody(m_version).texts({ track })).text = track;
        }
        if (tag.genre < ID3_v1_genre_description.size())
            add("TCON", NewBody(m_version).texts({ std::string(ID3_v1_genre_description[tag.genre]) }));
    }

    /// In v2.3 a parenthesis at the front is a number's.
    TagChanges::Values escapedGenres(TagChanges::Values values) const
    {
        for (std::string& value : values) {
            if (m_version == 3 && value.starts_with('('))
                value.insert(0, "(");
        }
        return values;
    }

    void setTexts(std::string_view id, const TagChanges::Values& values)
    {
        std::size_t place = remove([&](const Frame& frame) { return frame.id == id; });
        if (!values.empty())
            insert(place, id, NewBody(m_version).texts(values));
    }

    void setComments(const TagChanges::Values& values)
    {
        std::size_t place = remove([](const Frame& frame) { return frame.isPlainComment; });
        place = before(place, [](const Frame& frame) { return frame.isCalledComment; });
        if (!values.empty())
            insert(place, "COMM", NewBody(m_version).comment(values)).isPlainComment = true;
    }

    /// v2.3 has a year, a day and a time of its own, and nothing more precise.
    void setDate(const std::string& date)
    {
        FrameIds ids = date.empty() ? FrameIds(AllDateIds) : FrameIds(DateIds);
        std::size_t place = remove([&](const Frame& frame) {
            // A v2.4 tag's TDRC is known by the year's name.
            return std::find(ids.begin(), ids.end(), frame.id) != ids.end();
        });
        if (date.empty())
            return;
        place = behind(place, "TDRL");
        NewBody body(m_version);
        if (m_version == 4) {
            insert(place, "TDRC", body.texts({ date }));
            return;
        }
        constexpr std::size_t DayEnd = 10;
        constexpr std::size_t MinuteEnd = 16;
        if (date.size() >= MinuteEnd)
            insert(place, "TIME", body.texts({ date.substr(11, 2) + date.substr(14, 2) }));
        if (date.size() >= DayEnd)
            insert(place, "TDAT", body.texts({ date.substr(8, 2) + date.substr(5, 2) }));
        insert(place, "TYER", body.texts({ date.substr(0, 4) }));
    }

    /// "3/12". What is not named of the two stays.
    void setPlace(std::string_view id, const TagChanges& changes, TagKey placeKey, TagKey totalKey)
    {
        if (!changes.isNamed(placeKey) && !changes.isNamed(totalKey))
            return;
        auto present
            = std::find_if(m_frames.begin(), m_frames.end(), [&](const Frame& frame) { return frame.id == id; });
        const std::string text = present == m_frames.end() ? std::string() : present->text;
        auto slash = text.find('/');
        std::string number = text.substr(0, slash);
        std::string total = slash == std::string::npos ? std::string() : text.substr(slash + 1);
        auto take = [&](std::string& part, TagKey key) {
            if (changes.isNamed(key))
                part = changes.number(key) == 0 ? std::string() : std::to_string(changes.number(key));
        };
        take(number, placeKey);
        take(total, totalKey);
        std::size_t place = remove([&](const Frame& frame) { return frame.id == id; });
        if (number.empty() && total.empty())
            return;
        if (!total.empty())
            number = (number.empty() ? "0" : number) + "/" + total;
        insert(place, id, NewBody(m_version).texts({ number })).text = number;
    }

    void setCover(ByteView picture)
    {
        bool isFirst = true;
        std::size_t place
            = remove([&](const Frame& frame) { return frame.isFrontCover && std::exchange(isFirst, false); });
        if (!picture.empty())
            insert(place, "APIC", pictureBody(picture)).isFrontCover = true;
    }

    /// Where the first of them was; behind all that have names where none was.
    template <class Is> std::size_t remove(const Is& is)
    {
        std::vector<Frame> left;
        std::optional<std::size_t> place;
        for (Frame& frame : m_frames) {
            if (!is(frame))
                left.push_back(std::move(frame));
            else if (!place)
                place = left.size();
        }
        m_frames = std::move(left);
        return place ? *place : namedFrames();
    }

    /// Of texts that say one thing under two names FFmpeg shows the first.
    template <class Is> std::size_t before(std::size_t place, const Is& is) const
    {
        auto other = std::find_if(m_frames.begin(), m_frames.end(), is);
        return std::min(place, static_cast<std::size_t>(other - m_frames.begin()));
    }

    /// Of frames that it gives one name it shows the last.
    std::size_t behind(std::size_t place, std::string_view id) const
    {
        for (std::size_t i = place; i < m_frames.size(); ++i) {
            if (m_frames[i].id == id)
                place = i + 1;
        }
        return place;
    }

    std::size_t namedFrames() const
    {
        auto odd = std::find_if(m_frames.begin(), m_frames.end(), [](const Frame& frame) { return frame.isNameless; });
        return static_cast<std::size_t>(odd - m_frames.begin());
    }

    Frame& add(std::string_view id, ByteView body) { return insert(namedFrames(), id, body); }
    Frame& insert(std::size_t place, std::string_view id, ByteView body)
    {
        Frame frame { .id = std::string(id), .bytes = frameBytes(m_version, id, 0, body) };
        return *m_frames.insert(m_frames.begin() + static_cast<std::ptrdiff_t>(place), std::move(frame));
    }

    int m_version = 4;
    std::vector<Frame> m_frames;
};

/// A tag at the end of a file, whose frames a tag at the front repeats, without what is named.
Result<Splice> withoutNamed(const ByteSource& file, const Id3v2Tag& tag, const TagChanges& changes)
{
    constexpr std::uint8_t HasFooter = 0x10;
    const TagExtent extent = tag.extent();
    MV_TRY(bytes, file.bytesAt(extent.offset, extent.size));
    if (!tag.complete() || !tag.header().hasFooter() || extent.size < tag.header().totalSize())
        return Error { Error::Kind::Unsupported, "the ID3v2 tag at the end cannot be read whole" };
    TagChanges removal;
    for (std::size_t key = 0; key < TagKeyCount; ++key) {
        if (changes.values[key])
            removal.values[key] = TagChanges::Values();
    }
    TagSet alone;
    auto body = bytes.begin() + Id3v2Tag::HeaderSize;
    alone.prependedTags.push_back(Id3v2Tag::parse(tag.header(), extent.offset, file.size(),
        Bytes(body, body + static_cast<std::ptrdiff_t>(tag.header().bodySize)), TagSet::MaxBytesUnpacked));
    MV_TRY(left, changedId3(alone, removal));
    if (left.frames.empty())
        return Splice { extent.offset, extent.size, {} };
    bytes = tagBytes(left.frames, Id3v2Tag::HeaderSize + left.frames.size(), left.version);
    bytes[5] = HasFooter;
    Bytes footer(bytes.begin(), bytes.begin() + Id3v2Tag::FooterSize);
    std::copy_n("3DI", 3, footer.begin());
    bytes.insert(bytes.end(), footer.begin(), footer.end());
    return Splice { extent.offset, extent.size, std::move(bytes) };
}

} // namespace

Result<Id3NewTag> changedId3(const TagSet& tags, const TagChanges& changes)
{
    FrameSet frames(tags);
    frames.change(changes);
    return frames.rendered();
}

Bytes id3TagBytes(const Id3NewTag& tag, std::uint64_t oldSize)
{
    constexpr std::uint64_t MaxPadding = 64 * 1024;
    constexpr std::uint64_t SparePadding = 512;
    if (tag.frames.empty())
        return {};
    std::uint64_t needed = Id3v2Tag::HeaderSize + tag.frames.size();
    bool fits = needed <= oldSize && oldSize - needed <= MaxPadding;
    std::uint64_t size = fits ? oldSize : std::min(needed + SparePadding, Id3v2Tag::HeaderSize + MaxTagBytes);
    return tagBytes(tag.frames, size, tag.version);
}

Result<Splices> id3Splices(const ByteSource& file, const TagSet& tags, const TagChanges& changes, bool makesNew)
{
    Splices splices;
    if (makesNew || !tags.prependedTags.empty()) {
        MV_TRY(tag, changedId3(tags, changes));
        MV_TRY(layout, layOutTag(file, tags, tag.frames.size()));
        Bytes bytes = layout.newSize > 0 ? tagBytes(tag.frames, layout.newSize, tag.version) : Bytes();
        splices.push_back({ 0, layout.oldSize, std::move(bytes) });
    }
    for (const Id3v2Tag& tag : tags.appendedTags) {
        MV_TRY(splice, withoutNamed(file, tag, changes));
        splices.push_back(std::move(splice));
    }
    for (const auto& ape : { tags.leadingApe, tags.ape }) {
        if (!ape)
            continue;
        MV_TRY(old, file.bytesAt(ape->offset, ape->size));
        if (auto changed = changedApe(old, changes))
            splices.push_back({ ape->offset, ape->size, std::move(*changed) });
    }
    if (tags.id3v1) {
        std::uint64_t place = file.size() - Id3v1Tag::Size;
        MV_TRY(old, file.bytesAt(place, Id3v1Tag::Size));
        splices.push_back({ place, Id3v1Tag::Size, changedId3v1(std::move(old), changes) });
    }
    return splices;
}

} // namespace mv
