#include "service/tagedit/VorbisChange.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "facts/Facts.h"

#include <algorithm>
#include <array>
#include <utility>
#include <vector>

namespace mv {

namespace {

constexpr std::string_view PictureKey = "METADATA_BLOCK_PICTURE";
constexpr std::string_view Base64 = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

struct Name {
    TagKey key;
    std::string_view name;
};
/// The first of a key is how it is written; a change takes all of them away.
constexpr std::array Names {
    Name { TagKey::Title, "TITLE" },
    Name { TagKey::Album, "ALBUM" },
    Name { TagKey::Artist, "ARTIST" },
    Name { TagKey::AlbumArtist, "ALBUMARTIST" },
    Name { TagKey::AlbumArtist, "ALBUM ARTIST" },
    Name { TagKey::AlbumArtist, "ALBUM_ARTIST" },
    Name { TagKey::Composer, "COMPOSER" },
    Name { TagKey::Genre, "GENRE" },
    Name { TagKey::Comment, "COMMENT" },
    Name { TagKey::Comment, "DESCRIPTION" },
    Name { TagKey::Date, "DATE" },
    Name { TagKey::Date, "YEAR" },
    Name { TagKey::Track, "TRACKNUMBER" },
    Name { TagKey::Track, "TRACK" },
    Name { TagKey::TrackTotal, "TRACKTOTAL" },
    Name { TagKey::TrackTotal, "TOTALTRACKS" },
    Name { TagKey::Disc, "DISCNUMBER" },
    Name { TagKey::Disc, "DISC" },
    Name { TagKey::DiscTotal, "DISCTOTAL" },
    Name { TagKey::DiscTotal, "TOTALDISCS" },
};

std::optional<TagKey> keyOf(std::string_view name)
{
    for (const Name& row : Names) {
        if (equalIgnoringAsciiCase(row.name, name))
            return row.key;
    }
    return std::nullopt;
}

std::string_view nameOf(TagKey key)
{
    return std::find_if(Names.begin(), Names.end(), [&](const Name& row) { return row.key == key; })->name;
}

std::string toBase64(ByteView bytes)
{
    std::string text;
    text.reserve((bytes.size() + 2) / 3 * 4);
    for (std::size_t i = 0; i < bytes.size(); i += 3) {
        std::uint32_t bits = 0;
        std::size_t count = std::min<std::size_t>(3, bytes.size() - i);
        for (std::size_t j = 0; j < 3; ++j)
            bits = bits << 8 | (j < count ? bytes[i + j] : 0u);
        for (std::size_t j = 0; j < 4; ++j)
            text += j <= count ? Base64[bits >> (18 - 6 * j) & 63] : '=';
    }
    return text;
}

/// Whether the picture that Base64 holds begins with the type of a front cover.
bool isFrontCoverText(std::string_view text)
{
    return text.starts_with("AAAAA") && text.size() > 5 && text[5] >= 'w' && text[5] <= 'z';
}

class CommentList {
public:
    Result<void> read(ByteView list)
    {
        ByteReader in(list);
        m_vendor = in.take(in.u32le());
        std::uint32_t count = in.u32le();
        for (std::uint32_t i = 0; i < count && !in.failed(); ++i)
            m_comments.emplace_back(charsOf(in.take(in.u32le())));
        if (in.failed())
            return Error { Error::Kind::Unsupported, "the present comments cannot be read whole" };
        m_behind = in.rest();
        return {};
    }

    void change(const TagChanges& changes, bool takesCover)
    {
        splitPlace(changes, TagKey::Track, TagKey::TrackTotal);
        splitPlace(changes, TagKey::Disc, TagKey::DiscTotal);
        for (std::size_t i = 0; i < TagKeyCount; ++i) {
            auto key = static_cast<TagKey>(i);
            if (const auto& values = changes[key])
                set(key, *values);
        }
        if (changes.frontCover)
            setCover(*changes.frontCover, takesCover);
    }

    Bytes bytes() const
    {
        Bytes bytes;
        ByteWriter out(bytes);
        out.u32le(static_cast<std::uint32_t>(m_vendor.size()));
        out.bytes(m_vendor);
        out.u32le(static_cast<std::uint32_t>(m_comments.size()));
        for (const std::string& comment : m_comments) {
            out.u32le(static_cast<std::uint32_t>(comment.size()));
            out.text(comment);
        }
        out.bytes(m_behind);
        return bytes;
    }

private:
    static std::string_view nameIn(std::string_view comment)
    {
        auto equals = comment.find('=');
        return equals == std::string_view::npos ? std::string_view() : comment.substr(0, equals);
    }
    static std::string_view valueIn(std::string_view comment)
    {
        auto equals = comment.find('=');
        return equals == std::string_view::npos ? std::string_view() : comment.substr(equals + 1);
    }

    /// "3/12" in place of two comments: whichever of the two is named, the other one stays.
    void splitPlace(const TagChanges& changes, TagKey place, TagKey total)
    {
        if (!changes.isNamed(place) && !changes.isNamed(total))
            return;
        auto pair = std::find_if(m_comments.begin(), m_comments.end(), [&](std::string_view comment) {
            return keyOf(nameIn(comment)) == place && valueIn(comment).find('/') != std::string_view::npos;
        });
        if (pair == m_comments.end())
            return;
        std::string name(nameIn(*pair));
        std::string value(valueIn(*pair));
        auto slash = value.find('/');
        bool hasTotal = std::any_of(m_comments.begin(), m_comments.end(),
            [&](std::string_view comment) { return keyOf(nameIn(comment)) == total; });
        *pair = name + "=" + value.substr(0, slash);
        if (!hasTotal)
            m_comments.insert(pair + 1, std::string(nameOf(total)) + "=" + value.substr(slash + 1));
    }

    template <class Is> std::size_t remove(const Is& is)
    {
        std::size_t place = m_comments.size();
        std::vector<std::string> left;
        bool isFound = false;
        for (std::string& comment : m_comments) {
            if (!is(comment)) {
                left.push_back(std::move(comment));
            } else if (!isFound) {
                isFound = true;
                place = left.size();
            }
        }
        m_comments = std::move(left);
        return std::min(place, m_comments.size());
    }

    void set(TagKey key, const TagChanges::Values& values)
    {
        std::size_t place = remove([&](std::string_view comment) { return keyOf(nameIn(comment)) == key; });
        for (const std::string& value : values)
            insert(place++, nameOf(key), value);
    }

    void setCover(ByteView picture, bool takesCover)
    {
        bool isFirst = true;
        // Where the cover goes elsewhere, what is here would be a second one.
        bool areAll = !takesCover && !picture.empty();
        std::size_t place = remove([&](std::string_view comment) {
            // The old key has one picture, without saying which.
            bool isCover = equalIgnoringAsciiCase(nameIn(comment), "COVERART")
                || (equalIgnoringAsciiCase(nameIn(comment), PictureKey) && isFrontCoverText(valueIn(comment)));
            return isCover && (areAll || std::exchange(isFirst, false));
        });
        if (takesCover && !picture.empty())
            insert(place, PictureKey, toBase64(flacPictureBlock(picture)));
    }

    void insert(std::size_t place, std::string_view name, std::string_view value)
    {
        std::string comment(name);
        (comment += '=') += value;
        m_comments.insert(m_comments.begin() + static_cast<std::ptrdiff_t>(place), std::move(comment));
    }

    ByteView m_vendor;
    std::vector<std::string> m_comments;
    ByteView m_behind; // of Vorbis a framing bit, of Opus what programs keep there
};

} // namespace

Result<Bytes> changedVorbisComments(ByteView list, const TagChanges& changes, bool takesCover)
{
    CommentList comments;
    MV_TRY_VOID(comments.read(list));
    comments.change(changes, takesCover);
    return comments.bytes();
}

Bytes emptyVorbisComments()
{
    constexpr std::string_view Vendor = "mivo";
    Bytes bytes;
    ByteWriter out(bytes);
    out.u32le(static_cast<std::uint32_t>(Vendor.size()));
    out.text(Vendor);
    out.u32le(0);
    return bytes;
}

Bytes flacPictureBlock(ByteView picture)
{
    std::string_view type = coverMimeType(picture);
    Bytes bytes;
    ByteWriter out(bytes);
    out.u32be(FrontCoverType);
    out.u32be(static_cast<std::uint32_t>(type.size()));
    out.text(type);
    out.u32be(0); // no description
    out.zeros(4 * sizeof(std::uint32_t)); // width, height, depth, colours: the picture says them itself
    out.u32be(static_cast<std::uint32_t>(picture.size()));
    out.bytes(picture);
    return bytes;
}

bool isFlacFrontCover(ByteView block)
{
    ByteReader in(block);
    return in.u32be() == FrontCoverType && !in.failed();
}

} // namespace mv
