#include "Base/Core/Text.h"
#include "facts/FactErrors.h"
#include "facts/reading/Readers.h"
#include "facts/reading/SoundFacts.h"
#include "movies/MovieBackend.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

struct FieldOfName {
    std::string_view name;
    TagField field;
};

/// FFmpeg's names, then Matroska's where those have none.
constexpr std::array Fields {
    FieldOfName { "title", TagField::Title },
    FieldOfName { "album", TagField::Album },
    FieldOfName { "ALBUM/TITLE", TagField::Album },
    FieldOfName { "product", TagField::Album }, // AVI's, as in WAVE's list of texts
    FieldOfName { "artist", TagField::Artist },
    FieldOfName { "album_artist", TagField::AlbumArtist },
    FieldOfName { "ALBUM/ARTIST", TagField::AlbumArtist },
    FieldOfName { "composer", TagField::Composer },
    FieldOfName { "genre", TagField::Genre },
    FieldOfName { "comment", TagField::Comment },
    FieldOfName { "date", TagField::Date },
    FieldOfName { "DATE_RECORDED", TagField::Date },
    FieldOfName { "DATE_RELEASED", TagField::Date },
    FieldOfName { "year", TagField::Date },
    FieldOfName { "track", TagField::Track },
    FieldOfName { "PART_NUMBER", TagField::Track },
    FieldOfName { "TOTAL_PARTS", TagField::TrackTotal },
    FieldOfName { "disc", TagField::Disc },
    FieldOfName { "lyrics", TagField::Lyrics },
    FieldOfName { "BPM", TagField::Tempo },
    FieldOfName { "compilation", TagField::Compilation },
};

/// What Matroska says of the album, where it says nothing of the track.
constexpr std::array AlbumFields {
    FieldOfName { "ALBUM/GENRE", TagField::Genre },
    FieldOfName { "ALBUM/DATE_RECORDED", TagField::Date },
    FieldOfName { "ALBUM/DATE_RELEASED", TagField::Date },
    FieldOfName { "ALBUM/TOTAL_PARTS", TagField::TrackTotal },
};

constexpr std::string_view OfTrack = "TRACK/";

template <class Rows> void addTexts(TagSink& sink, const MediaStreams& streams, const Rows& rows)
{
    sink.texts.beginTag();
    for (const auto& [stated, text] : streams.tags) {
        // Matroska may say of what a name is.
        std::string_view name = stated;
        if (equalIgnoringAsciiCase(name.substr(0, OfTrack.size()), OfTrack))
            name.remove_prefix(OfTrack.size());
        for (const FieldOfName& row : rows) {
            if (equalIgnoringAsciiCase(row.name, name))
                sink.texts.addUtf8OrLegacy(row.field, bytesOf(text));
        }
    }
}

void addTags(TagSink& sink, const MediaStreams& streams)
{
    addTexts(sink, streams, Fields);
    addTexts(sink, streams, AlbumFields);
    // When a container was written is when a movie was made, where nothing else says it.
    sink.texts.beginTag();
    for (const auto& [name, text] : streams.tags) {
        if (name == "creation_time" && streams.pictures)
            sink.texts.add(TagField::Date, text);
    }
    for (const MediaStreams::Cover& cover : streams.covers) {
        if (cover.data.empty())
            sink.notePicture();
        else
            sink.addPicture(FrontCoverType, {}, cover.description, cover.data);
    }
}

std::uint32_t orientationTag(Orientation orientation)
{
    for (int tag = 1; tag <= 8; ++tag) {
        if (Orientation::fromTag(tag) == orientation)
            return static_cast<std::uint32_t>(tag);
    }
    return 1;
}

void putPictures(Facts& facts, const MediaStreams::Pictures& pictures)
{
    facts.set(fact::Kind, std::string("video"));
    if (!pictures.codec.empty())
        facts.set(fact::VideoCodec, pictures.codec);
    if (pictures.width != 0 && pictures.height != 0) {
        facts.set(fact::Width, pictures.width);
        facts.set(fact::Height, pictures.height);
    }
    if (pictures.frameRate > 0)
        facts.setReal(fact::FrameRate, pictures.frameRate);
    facts.set(fact::Orientation, orientationTag(pictures.orientation));
}

std::string_view typeOf(std::string_view mimeType, const MediaStreams& streams)
{
    if (streams.pictures)
        return mimeType;
    return mimeType == "video/webm" ? "audio/webm" : mimeType == "video/x-matroska" ? "audio/x-matroska" : mimeType;
}

} // namespace

Result<void> readByFfmpeg(Reading& reading)
{
    auto streams = installedMovieBackend().describeStreams(reading.shared, DefaultDeadline, reading.wish.pictures);
    if (!streams)
        return streams.error();
    if (!streams->sound && !streams->pictures)
        return notMedia("no sound and no pictures in the file");
    addTags(reading.tags, *streams);
    SoundFacts sound;
    if (streams->sound) {
        const MediaStreams::Sound& known = *streams->sound;
        sound = { known.codec, known.sampleRate, known.channels, known.bitsPerSample, known.bitrate };
    }
    sound.length = streams->length;
    const std::uint64_t size = reading.source.size();
    if (streams->pictures)
        sound.bitrate = bitrateOf(size, sound.length);
    else if (sound.bitrate == 0)
        sound.bitrate = bitrateOf(size - std::min(size, streams->coverBytes), sound.length);
    if (streams->pictures)
        putPictures(reading.facts, *streams->pictures);
    reading.type.mimeType = typeOf(reading.type.mimeType, *streams);
    putSound(reading.facts, sound);
    return {};
}

} // namespace mv
