#include "cli/SongTags.h"

#include "Base/Core/Text.h"
#include "Base/Media/TagLimits.h"
#include "id3/FrameText.h"

#include <aifffile.h>
#include <algorithm>
#include <array>
#include <asffile.h>
#include <attachedpictureframe.h>
#include <fileref.h>
#include <flacfile.h>
#include <id3v1tag.h>
#include <id3v2tag.h>
#include <limits>
#include <memory>
#include <mp4file.h>
#include <mpegfile.h>
#include <tpropertymap.h>
#include <wavfile.h>
#include <xiphcomment.h>

namespace mv::cli {

namespace {

// No larger tag is made than the service reads. Texts may take twice their bytes in a tag.
constexpr std::size_t MaxTextBytes = std::size_t { 4 } << 20; ///< of all texts together
constexpr std::size_t MaxCoverBytes = MaxTagBytes - 2 * MaxTextBytes; ///< of all covers together

// What speaks of the sound's old encoding, or of the container that it lay in.
constexpr std::array<std::string_view, 14> OfTheOldFile { "ENCODER", "ENCODEDBY", "ENCODING", "ENCODINGTIME",
    "ENCODERSETTINGS", "ENCODEDUSING", "VENDOR", "LENGTH", "FILETYPE", "MAJOR_BRAND", "MINOR_VERSION",
    "COMPATIBLE_BRANDS", "R128_TRACK_GAIN", "R128_ALBUM_GAIN" };
// The same by their beginning: remarks of a program about its loudness and gaps, the channels of a WAVE file.
constexpr std::array<std::string_view, 3> OfTheOldFileByPrefix { "ITUN", "COMMENT:ITUN", "WAVEFORMATEXTENSIBLE" };

struct NumberField {
    std::string_view number;
    std::array<std::string_view, 2> totals; ///< names that programs use for it
};
constexpr std::array NumberFields {
    NumberField { "TRACKNUMBER", { "TRACKTOTAL", "TOTALTRACKS" } },
    NumberField { "DISCNUMBER", { "DISCTOTAL", "TOTALDISCS" } },
};

// What has one value, of which the first counts where a file has several: joined they would be other numbers.
constexpr std::array<std::string_view, 10> OfOneValue { "TRACKNUMBER", "TRACKTOTAL", "TOTALTRACKS", "DISCNUMBER",
    "DISCTOTAL", "TOTALDISCS", "DATE", "YEAR", "BPM", "COMPILATION" };

TagLib::String taglibText(std::string_view text) { return { std::string(text), TagLib::String::UTF8 }; }

std::string plainText(const TagLib::String& text) { return text.to8Bit(true); }

Bytes plainBytes(const TagLib::ByteVector& bytes) { return { bytes.begin(), bytes.end() }; }

TagLib::ByteVector taglibBytes(const Bytes& bytes)
{
    return { reinterpret_cast<const char*>(bytes.data()), static_cast<unsigned>(bytes.size()) };
}

/// Bytes that a tag calls Latin-1, read by the service's rule, so that a new file says what was described.
TagLib::String legacyText(const TagLib::ByteVector& tagBytes)
{
    Bytes bytes = plainBytes(tagBytes);
    bytes.erase(std::find(bytes.begin(), bytes.end(), 0), bytes.end());
    return taglibText(utf8FromLegacy(bytes));
}

class LegacyFrameText final : public TagLib::ID3v2::Latin1StringHandler {
    TagLib::String parse(const TagLib::ByteVector& bytes) const override { return legacyText(bytes); }
};

class LegacyTagText final : public TagLib::ID3v1::StringHandler {
    TagLib::String parse(const TagLib::ByteVector& bytes) const override { return legacyText(bytes).stripWhiteSpace(); }
};

void setLegacyTexts()
{
    static const LegacyFrameText frames;
    static const LegacyTagText tags;
    TagLib::ID3v2::Tag::setLatin1StringHandler(&frames);
    TagLib::ID3v1::Tag::setStringHandler(&tags);
}

bool isOfTheOldFile(std::string_view name)
{
    return std::find(OfTheOldFile.begin(), OfTheOldFile.end(), name) != OfTheOldFile.end()
        || std::any_of(OfTheOldFileByPrefix.begin(), OfTheOldFileByPrefix.end(),
            [&](std::string_view prefix) { return name.starts_with(prefix); });
}

/// "3" and "12" become "3/12".
void joinTotals(SongTags& tags)
{
    for (const NumberField& field : NumberFields) {
        std::string total;
        for (std::string_view name : field.totals) {
            if (auto found = tags.texts.find(name); found != tags.texts.end()) {
                total = found->second;
                tags.texts.erase(found);
            }
        }
        auto number = tags.texts.find(field.number);
        if (number != tags.texts.end() && !total.empty() && number->second.find('/') == std::string::npos)
            number->second += "/" + total;
    }
}

std::string textOf(std::string_view name, const TagLib::StringList& values)
{
    bool isOne = std::find(OfOneValue.begin(), OfOneValue.end(), name) != OfOneValue.end();
    return plainText(isOne && !values.isEmpty() ? values.front() : values.toString("/"));
}

void addTexts(SongTags& tags, const TagLib::PropertyMap& properties)
{
    std::size_t room = MaxTextBytes;
    for (const auto& [key, values] : properties) {
        std::string name = plainText(key);
        std::string text = textOf(name, values);
        if (isOfTheOldFile(name) || text.empty())
            continue;
        if (name.size() + text.size() > room) {
            tags.isCut = true;
            continue;
        }
        room -= name.size() + text.size();
        tags.texts[name] = text;
    }
    joinTotals(tags);
}

/// The names that some programs use for a text, where the usual one is missing.
void useUsualNames(SongTags& tags)
{
    constexpr std::array<std::pair<std::string_view, std::string_view>, 4> Names { {
        { "YEAR", "DATE" },
        { "ALBUM ARTIST", "ALBUMARTIST" },
        { "UNSYNCEDLYRICS", "LYRICS" },
        { "DESCRIPTION", "COMMENT" },
    } };
    for (const auto& [other, usual] : Names) {
        auto found = tags.texts.find(other);
        if (found == tags.texts.end() || tags.texts.contains(usual))
            continue;
        tags.texts[std::string(usual)] = found->second;
        tags.texts.erase(found);
    }
}

/// Collects covers up to what a tag holds.
class Covers {
public:
    explicit Covers(SongTags& tags)
        : m_tags(tags)
    {
    }

    void add(
        const TagLib::String& mimeType, const TagLib::String& description, int type, const TagLib::ByteVector& data)
    {
        // A picture that is only an address elsewhere is none.
        if (data.isEmpty() || mimeType == "-->")
            return;
        if (data.size() > m_room) {
            m_tags.isCut = true;
            return;
        }
        m_room -= data.size();
        m_tags.covers.push_back({ plainText(mimeType), plainText(description), type, plainBytes(data) });
    }
    void add(const TagLib::List<TagLib::FLAC::Picture*>& pictures)
    {
        for (const TagLib::FLAC::Picture* one : pictures)
            add(one->mimeType(), one->description(), one->type(), one->data());
    }
    void add(TagLib::ID3v2::Tag* tag)
    {
        if (!tag)
            return;
        for (const TagLib::ID3v2::Frame* frame : tag->frameList("APIC")) {
            if (auto* one = dynamic_cast<const TagLib::ID3v2::AttachedPictureFrame*>(frame))
                add(one->mimeType(), one->description(), one->type(), one->picture());
        }
    }
    void add(const TagLib::MP4::CoverArtList& covers)
    {
        for (const TagLib::MP4::CoverArt& one : covers)
            add("", "", TagLib::FLAC::Picture::FrontCover, one.data());
    }
    void add(const TagLib::ASF::AttributeList& attributes)
    {
        for (const TagLib::ASF::Attribute& attribute : attributes) {
            TagLib::ASF::Picture one = attribute.toPicture();
            if (one.isValid())
                add(one.mimeType(), one.description(), one.type(), one.picture());
        }
    }

private:
    SongTags& m_tags;
    std::size_t m_room = MaxCoverBytes;
};

void addCovers(SongTags& tags, TagLib::File& file)
{
    Covers covers(tags);
    if (auto* flac = dynamic_cast<TagLib::FLAC::File*>(&file))
        covers.add(flac->pictureList());
    else if (auto* xiph = dynamic_cast<TagLib::Ogg::XiphComment*>(file.tag()))
        covers.add(xiph->pictureList());
    else if (auto* mp4 = dynamic_cast<TagLib::MP4::Tag*>(file.tag()))
        covers.add(mp4->item("covr").toCoverArtList());
    else if (auto* asf = dynamic_cast<TagLib::ASF::Tag*>(file.tag()))
        covers.add(asf->attribute("WM/Picture"));
    else if (auto* mpeg = dynamic_cast<TagLib::MPEG::File*>(&file))
        covers.add(mpeg->ID3v2Tag());
    else if (auto* wave = dynamic_cast<TagLib::RIFF::WAV::File*>(&file))
        covers.add(wave->ID3v2Tag());
    else if (auto* id3 = dynamic_cast<TagLib::ID3v2::Tag*>(file.tag()))
        covers.add(id3);
}

/// By the first bytes: what tags say of their pictures is often wrong.
std::string mimeTypeOf(const SongCover& cover)
{
    constexpr std::array<std::pair<std::string_view, const char*>, 4> Types { {
        { "\xff\xd8\xff", "image/jpeg" },
        { "\x89PNG", "image/png" },
        { "GIF8", "image/gif" },
        { "BM", "image/bmp" },
    } };
    for (const auto& [begin, type] : Types) {
        if (charsOf(cover.data).starts_with(begin))
            return type;
    }
    return cover.mimeType.empty() ? "image/jpeg" : cover.mimeType;
}

} // namespace

std::string_view SongTags::text(std::string_view name) const
{
    auto found = texts.find(name);
    return found == texts.end() ? std::string_view() : std::string_view(found->second);
}

PlaceInSet placeFrom(std::string_view text)
{
    // What has no room is no smaller number: episodes of podcasts are numbered by their day.
    auto number = [](std::string_view digits) {
        std::int32_t value = leadingInteger(digits);
        return value > 0 && value <= std::numeric_limits<std::uint16_t>::max() ? value : 0;
    };
    auto slash = text.find('/');
    return { number(text.substr(0, slash)), slash == std::string_view::npos ? 0 : number(text.substr(slash + 1)) };
}

SongTags readSongTags(const Path& path)
{
    setLegacyTexts();
    SongTags tags;
    TagLib::FileRef file(path.c_str(), false);
    if (file.isNull() || !file.file()->isValid())
        return tags;
    addTexts(tags, file.file()->properties());
    useUsualNames(tags);
    addCovers(tags, *file.file());
    for (SongCover& cover : tags.covers)
        cover.mimeType = mimeTypeOf(cover);
    return tags;
}

Bytes id3TagWith(const SongTags& tags)
{
    if (tags.empty())
        return {};
    TagLib::PropertyMap properties;
    for (const auto& [name, text] : tags.texts)
        properties.insert(taglibText(name), TagLib::StringList(taglibText(text)));
    TagLib::ID3v2::Tag tag;
    tag.setProperties(properties);
    for (const SongCover& cover : tags.covers) {
        auto frame = std::make_unique<TagLib::ID3v2::AttachedPictureFrame>();
        frame->setTextEncoding(TagLib::String::UTF16);
        frame->setMimeType(cover.mimeType);
        frame->setDescription(taglibText(cover.description));
        frame->setType(static_cast<TagLib::ID3v2::AttachedPictureFrame::Type>(cover.type));
        frame->setPicture(taglibBytes(cover.data));
        tag.addFrame(frame.release());
    }
    return plainBytes(tag.render(TagLib::ID3v2::v3));
}

} // namespace mv::cli
