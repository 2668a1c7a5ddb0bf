#include "facts/FactErrors.h"
#include "facts/reading/ApeItems.h"
#include "facts/reading/Genres.h"
#include "facts/reading/Id3Facts.h"
#include "facts/reading/Readers.h"
#include "facts/reading/SoundFacts.h"
#include "facts/reading/TagLibStream.h"
#include "id3/TagReader.h"

#include <apefile.h>
#include <array>
#include <asffile.h>
#include <asfpicture.h>
#include <mpcfile.h>
#include <trueaudiofile.h>
#include <wavpackfile.h>

namespace mv {

namespace {

SoundFacts soundOf(const TagLib::AudioProperties& properties)
{
    auto positive = [](int number) { return static_cast<std::uint32_t>(std::max(0, number)); };
    SoundFacts sound;
    sound.sampleRate = positive(properties.sampleRate());
    sound.channels = positive(properties.channels());
    sound.bitrate = std::uint64_t { positive(properties.bitrate()) } * 1000; // whole kbit/s
    sound.length = std::int64_t { properties.lengthInMilliseconds() } * 1000;
    return sound;
}

/// Length and bit rate finer than TagLib's, where the frames are counted.
void refine(SoundFacts& sound, std::uint64_t frames, std::uint64_t bytes)
{
    if (frames != 0)
        sound.length = microsecondsOf(frames, sound.sampleRate);
    sound.bitrate = bitrateOf(bytes, sound.length);
}

/// APE tags, and what ID3 tags say beside them.
Result<std::uint64_t> addTags(Reading& reading)
{
    MV_TRY(tags, readTags(reading.source));
    if (tags.ape)
        addApeItems(reading.tags, reading.source, tags.ape->offset, tags.ape->size);
    for (const Id3v2Tag& tag : tags.prependedTags)
        addId3v2(reading.tags, tag);
    if (tags.id3v1)
        addId3v1(reading.tags, *tags.id3v1);
    return tags.audioEnd - tags.audioBegin;
}

/// Reads sound whose tags are APE's: `describe` gives what TagLib knows of it.
template <class File, class Describe> Result<void> readWithApeTags(Reading& reading, Describe describe)
{
    MV_TRY(bytes, addTags(reading));
    TagLibStream stream(reading.source);
    File file(&stream, true);
    if (!file.isValid() || !file.audioProperties() || file.audioProperties()->sampleRate() <= 0)
        return notMedia("no sound in the file");
    SoundFacts sound = soundOf(*file.audioProperties());
    describe(*file.audioProperties(), sound, bytes);
    putSound(reading.facts, sound);
    return {};
}

// ASF

struct FieldOfAttribute {
    const char* name;
    TagField field;
};

constexpr std::array AsfFields {
    FieldOfAttribute { "WM/AlbumTitle", TagField::Album },
    FieldOfAttribute { "WM/AlbumArtist", TagField::AlbumArtist },
    FieldOfAttribute { "WM/Composer", TagField::Composer },
    FieldOfAttribute { "WM/Genre", TagField::Genre },
    FieldOfAttribute { "WM/Year", TagField::Date },
    FieldOfAttribute { "date", TagField::Date },
    FieldOfAttribute { "WM/TrackNumber", TagField::Track },
    FieldOfAttribute { "TotalTracks", TagField::TrackTotal },
    FieldOfAttribute { "TRACKTOTAL", TagField::TrackTotal },
    FieldOfAttribute { "WM/PartOfSet", TagField::Disc },
    FieldOfAttribute { "TotalDiscs", TagField::DiscTotal },
    FieldOfAttribute { "DISCTOTAL", TagField::DiscTotal },
    FieldOfAttribute { "WM/Comments", TagField::Comment },
    FieldOfAttribute { "Description", TagField::Comment },
    FieldOfAttribute { "WM/Lyrics", TagField::Lyrics },
    FieldOfAttribute { "WM/BeatsPerMinute", TagField::Tempo },
    FieldOfAttribute { "WM/IsCompilation", TagField::Compilation },
};

std::string utf8(const TagLib::String& text) { return text.to8Bit(true); }

std::string textOf(const TagLib::ASF::Attribute& attribute)
{
    using Attribute = TagLib::ASF::Attribute;
    switch (attribute.type()) {
    case Attribute::UnicodeType:
        return utf8(attribute.toString());
    case Attribute::BoolType:
        return attribute.toBool() ? "1" : "0";
    case Attribute::DWordType:
        return std::to_string(attribute.toUInt());
    case Attribute::QWordType:
        return std::to_string(attribute.toULongLong());
    case Attribute::WordType:
        return std::to_string(attribute.toUShort());
    case Attribute::BytesType:
    case Attribute::GuidType:
        break;
    }
    return {};
}

void addAsfTag(TagSink& sink, TagLib::ASF::Tag& tag)
{
    const TagLib::ASF::AttributeListMap& attributes = tag.attributeListMap();
    sink.texts.beginTag();
    sink.texts.add(TagField::Title, utf8(tag.title()));
    sink.texts.add(TagField::Artist, utf8(tag.artist()));
    // The content description has the first author; further ones are attributes, among which some repeat it.
    if (attributes.contains("Author")) {
        for (const auto& author : attributes["Author"]) {
            if (author.toString() != tag.artist())
                sink.texts.add(TagField::Artist, textOf(author));
        }
    }
    sink.texts.add(TagField::Comment, utf8(tag.comment()));
    for (const FieldOfAttribute& row : AsfFields) {
        if (!attributes.contains(row.name))
            continue;
        sink.texts.beginTag(); // of several names of a field the first counts
        for (const auto& value : attributes[row.name]) {
            std::string text = textOf(value);
            if (row.field == TagField::Genre) {
                for (const std::string& genre : genresOfContentType(text))
                    sink.texts.add(row.field, genre);
            } else {
                sink.texts.add(row.field, text);
            }
        }
    }
    // The track from 0 on, as older programs count.
    if (!attributes.contains("WM/TrackNumber") && attributes.contains("WM/Track"))
        sink.texts.add(TagField::Track, std::to_string(std::uint64_t { attributes["WM/Track"][0].toUInt() } + 1));
}

void addAsfPictures(TagSink& sink, TagLib::ASF::Tag& tag)
{
    if (!tag.attributeListMap().contains("WM/Picture"))
        return;
    for (const auto& attribute : tag.attributeListMap()["WM/Picture"]) {
        TagLib::ASF::Picture picture = attribute.toPicture();
        if (!picture.isValid())
            continue;
        TagLib::ByteVector data = picture.picture();
        ByteView bytes(reinterpret_cast<const std::uint8_t*>(data.data()), data.size());
        sink.addPicture(
            static_cast<std::uint32_t>(picture.type()), utf8(picture.mimeType()), utf8(picture.description()), bytes);
    }
}

std::string_view codecOf(TagLib::ASF::Properties::Codec codec)
{
    using Properties = TagLib::ASF::Properties;
    switch (codec) {
    case Properties::WMA1:
        return "wmav1";
    case Properties::WMA2:
        return "wmav2";
    case Properties::WMA9Pro:
        return "wmapro";
    case Properties::WMA9Lossless:
        return "wmalossless";
    case Properties::Unknown:
        break;
    }
    return {};
}

/// The header's objects name the kinds of streams by their numbers.
bool hasMovingPictures(const ByteSource& source)
{
    using namespace std::string_view_literals;
    constexpr std::string_view VideoMedia = "\xC0\xEF\x19\xBC\x4D\x5B\xCF\x11\xA8\xFD\x00\x80\x5F\x5C\x44\x2B"sv;
    constexpr std::size_t HeaderBytes = std::size_t { 64 } << 10;
    Bytes front(HeaderBytes);
    front.resize(source.readUpTo(0, front));
    return charsOf(front).find(VideoMedia) != std::string_view::npos;
}

Result<void> readAsfUnguarded(Reading& reading)
{
    bool isMovie = hasMovingPictures(reading.source);
    TagLibStream stream(reading.source);
    TagLib::ASF::File file(&stream, true);
    if (file.isValid()) {
        addAsfTag(reading.tags, *file.tag());
        addAsfPictures(reading.tags, *file.tag());
    }
    if (isMovie) {
        reading.type.mimeType = hasEnding(reading.name, "wmv") ? "video/x-ms-wmv" : "application/vnd.ms-asf";
        return readByFfmpeg(reading);
    }
    auto* properties = file.isValid() ? file.audioProperties() : nullptr;
    if (!properties || properties->sampleRate() <= 0)
        return notMedia("no sound in the file");
    SoundFacts sound = soundOf(*properties);
    sound.codec = codecOf(properties->codec());
    if (properties->codec() == TagLib::ASF::Properties::WMA9Lossless)
        sound.bitsPerSample = static_cast<std::uint32_t>(std::max(0, properties->bitsPerSample()));
    reading.type.mimeType = "audio/x-ms-wma";
    putSound(reading.facts, sound);
    return {};
}

template <class Read> Result<void> guarded(const Read& read)
{
    try {
        return read();
    } catch (const EndlessReading&) {
        return notMedia("a file that does not end where it says");
    }
}

} // namespace

Result<void> readAsf(Reading& reading)
{
    return guarded([&] { return readAsfUnguarded(reading); });
}

Result<void> readMonkey(Reading& reading)
{
    return guarded([&] {
        return readWithApeTags<TagLib::APE::File>(
            reading, [](const TagLib::APE::Properties& properties, SoundFacts& sound, std::uint64_t bytes) {
                sound.codec = "ape";
                sound.bitsPerSample = static_cast<std::uint32_t>(std::max(0, properties.bitsPerSample()));
                refine(sound, properties.sampleFrames(), bytes);
            });
    });
}

Result<void> readWavPack(Reading& reading)
{
    return guarded([&] {
        return readWithApeTags<TagLib::WavPack::File>(
            reading, [](const TagLib::WavPack::Properties& properties, SoundFacts& sound, std::uint64_t bytes) {
                sound.codec = "wavpack";
                if (properties.isLossless())
                    sound.bitsPerSample = static_cast<std::uint32_t>(std::max(0, properties.bitsPerSample()));
                refine(sound, properties.sampleFrames(), bytes);
            });
    });
}

Result<void> readMusepack(Reading& reading)
{
    return guarded([&] {
        return readWithApeTags<TagLib::MPC::File>(
            reading, [](const TagLib::MPC::Properties& properties, SoundFacts& sound, std::uint64_t bytes) {
                sound.codec = properties.mpcVersion() >= 8 ? "musepack8" : "musepack7";
                refine(sound, properties.sampleFrames(), bytes);
            });
    });
}

Result<void> readTrueAudio(Reading& reading)
{
    return guarded([&] {
        return readWithApeTags<TagLib::TrueAudio::File>(
            reading, [](const TagLib::TrueAudio::Properties& properties, SoundFacts& sound, std::uint64_t bytes) {
                sound.codec = "tta";
                sound.bitsPerSample = static_cast<std::uint32_t>(std::max(0, properties.bitsPerSample()));
                refine(sound, properties.sampleFrames(), bytes);
            });
    });
}

} // namespace mv
