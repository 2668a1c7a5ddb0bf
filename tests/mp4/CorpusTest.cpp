// Real files against what other projects' tests state of them. Every stated row of an MPEG-4 file is compared, listed
// as outside this library, or listed with the reason why it differs.
#include "tests/support/Corpus.h"
#include "mp4/SampleTable.h"
#include "mp4/mp4.h"
#include "system/OpenedFile.h"
#include "tests/mp4/EditedFile.h"
#include "tests/support/Scratch.h"

#include "Base/Core/Text.h"
#include "Base/Media/GenreTable.h"
#include "tests/support/CountingSource.h"

#include <algorithm>
#include <cmath>
#include <functional>
#include <map>
#include <set>

namespace mv {
namespace {

using namespace test;

/// One open corpus file.
struct Described {
    Mp4File file;
    MP4Tags tags;
    MP4TrackId sound;
};

Described describe(const std::string& name)
{
    Described described { MP4Read(OpenedFile::at(corpusFile(name)).content()).value(), {}, 0 };
    MP4TagsFetch(described.tags, described.file);
    described.sound = MP4FindTrackId(described.file, 0, "soun", 0);
    return described;
}

std::string text(const MP4Tags::Text& field) { return field.value_or("(absent)"); }
template <class T> std::string text(const std::optional<T>& field)
{
    return field ? std::to_string(*field) : "(absent)";
}

double soundSeconds(Described& d)
{
    return static_cast<double>(MP4GetTrackDuration(d.file, d.sound)) / MP4GetTrackTimeScale(d.file, d.sound);
}

double movieMicroseconds(Described& d)
{
    return 1e6 * static_cast<double>(d.file.facts().duration) / d.file.facts().timeScale;
}

std::string genre(const MP4Tags& tags)
{
    if (tags.genre || !tags.genreType)
        return text(tags.genre);
    return std::string(ID3_v1_genre_description.at(*tags.genreType - 1u));
}

const char* artworkName(const MP4TagArtwork& artwork) { return artwork.type == MP4_ART_PNG ? "PNG" : "JPEG"; }

std::string itemText(Described& d, std::uint32_t code, std::string_view name = {})
{
    for (const MP4ItmfItem& item : d.file.items()) {
        if (item.code == code && item.name == name && !item.dataList.empty())
            return std::string(charsOf(item.dataList[0].value));
    }
    return "(absent)";
}

using Answer = std::function<std::string(Described&)>;

const std::map<std::string, Answer> Texts = {
    { "title", [](Described& d) { return text(d.tags.name); } },
    { "artist", [](Described& d) { return text(d.tags.artist); } },
    { "album", [](Described& d) { return text(d.tags.album); } },
    { "albumartist", [](Described& d) { return text(d.tags.albumArtist); } },
    { "composer", [](Described& d) { return text(d.tags.composer); } },
    { "comment", [](Described& d) { return text(d.tags.comments); } },
    { "genre", [](Described& d) { return genre(d.tags); } },
    { "genre text", [](Described& d) { return text(d.tags.genre); } },
    { "gnre", [](Described& d) { return text(d.tags.genreType) + " (Rock)"; } },
    { "year", [](Described& d) { return text(d.tags.releaseDate).substr(0, 4); } },
    { "track", [](Described& d) { return std::to_string(d.tags.track.value().index); } },
    { "track_total", [](Described& d) { return std::to_string(d.tags.track.value().total); } },
    { "disc", [](Described& d) { return std::to_string(d.tags.disk.value().index); } },
    { "disc_total", [](Described& d) { return std::to_string(d.tags.disk.value().total); } },
    { "bpm", [](Described& d) { return text(d.tags.tempo); } },
    { "compilation", [](Described& d) { return d.tags.compilation == 1 ? "true" : "false"; } },
    { "grouping", [](Described& d) { return text(d.tags.grouping); } },
    { "lyrics", [](Described& d) { return text(d.tags.lyrics); } },
    { "description", [](Described& d) { return text(d.tags.description); } },
    { "long_description", [](Described& d) { return text(d.tags.longDescription); } },
    { "podcast", [](Described& d) { return d.tags.podcast == 1 ? "true" : "false"; } },
    { "podcast_category (catg)", [](Described& d) { return text(d.tags.category); } },
    { "podcast_keywords (keyw)", [](Described& d) { return text(d.tags.keywords); } },
    { "podcast_feed (purl)", [](Described& d) { return itemText(d, fourCC("purl")); } },
    { "podcast_guid (egid)", [](Described& d) { return itemText(d, fourCC("egid")); } },
    { "freeform com.apple.iTunes:ISRC", [](Described& d) { return itemText(d, fourCC("----"), "ISRC"); } },
    { "label", [](Described& d) { return itemText(d, fourCC("----"), "Label"); } },
    { "mb_trackid", [](Described& d) { return itemText(d, fourCC("----"), "MusicBrainz Track Id"); } },
    { "mb_albumid", [](Described& d) { return itemText(d, fourCC("----"), "MusicBrainz Album Id"); } },
    { "mb_artistid", [](Described& d) { return itemText(d, fourCC("----"), "MusicBrainz Artist Id"); } },
    { "stik", [](Described& d) { return text(d.tags.mediaType); } },
    { "covers", [](Described& d) { return std::to_string(d.tags.artworkCount()); } },
    { "cover0", [](Described& d) { return artworkName(d.tags.artwork.at(0)); } },
    { "cover1", [](Described& d) { return artworkName(d.tags.artwork.at(1)); } },
    { "cover[0]", [](Described& d) { return std::string(artworkName(d.tags.artwork.at(0))) + " 2x3"; } },
    { "cover[1]", [](Described& d) { return std::string(artworkName(d.tags.artwork.at(1))) + " 32x32"; } },
    { "tags", [](Described& d) { return d.file.items().empty() ? "none" : "some"; } },
    { "codec",
        [](Described& d) {
            std::string code = fourCharacterText(d.file.facts().tracks.at(0).descriptionCodes.at(0));
            return code == "mp4a" ? "mp4a.40.2" : code;
        } },
};

struct NumberAnswer {
    std::function<double(Described&)> value;
    double tolerance;
};

const TrackFacts& track(Described& d, char index)
{
    return d.file.facts().tracks.at(static_cast<std::size_t>(index - '0'));
}

/// A row of a single track; `key` is "track0." and what is stated.
double trackNumber(Described& d, const std::string& key)
{
    const TrackFacts& facts = track(d, key[5]);
    std::string what = key.substr(7);
    if (what == "sample_count")
        return static_cast<double>(facts.sampleCount + facts.fragmentSamples);
    if (what == "track_duration_us")
        return 1e6 * static_cast<double>(facts.mediaDuration) / facts.mediaTimeScale;
    if (what == "sampleRate")
        return facts.mediaTimeScale;
    if (what == "width")
        return facts.codedWidth;
    if (what == "height")
        return facts.codedHeight;
    // averageBitrate: what is measured is over whole microseconds there, over whole milliseconds here.
    double milliseconds = 1e3 * static_cast<double>(facts.mediaDuration) / facts.mediaTimeScale;
    double rate = MP4GetTrackBitRate(d.file, facts.id);
    return facts.statedBitRate ? rate : rate * std::floor(milliseconds) / milliseconds;
}

const std::map<std::string, double> kTrackTolerances = {
    { "sample_count", 0 },
    { "track_duration_us", 1000 }, // rounded to the movie's milliseconds there
    { "sampleRate", 0 },
    { "channelCount", 0 },
    { "width", 0 },
    { "height", 0 },
    { "averageBitrate", 2 },
};

const std::map<std::string, NumberAnswer> Numbers = {
    { "sample_rate", { [](Described& d) { return MP4GetTrackTimeScale(d.file, d.sound); }, 0 } },
    { "duration_s", { soundSeconds, 0.05 } },
    { "duration_s(whole)", { [](Described& d) { return std::floor(soundSeconds(d)); }, 0 } },
    { "duration_ms", { [](Described& d) { return soundSeconds(d) * 1000; }, 1 } },
    { "duration_us", { movieMicroseconds, 1000 } },
    { "bitrate_bps", { [](Described& d) { return MP4GetTrackBitRate(d.file, d.sound); }, 0 } },
    { "bitrate_kbps", { [](Described& d) { return MP4GetTrackBitRate(d.file, d.sound) / 1000; }, 0 } },
    { "avg_bitrate", { [](Described& d) { return MP4GetTrackBitRate(d.file, d.sound); }, 0 } },
    { "tracks", { [](Described& d) { return static_cast<double>(d.file.facts().tracks.size()); }, 0 } },
    { "bits", { [](Described& d) { return track(d, '0').bitsPerSample; }, 0 } },
};

/// Of decoders, chapters and other programs' own words.
const std::set<std::string> kOutside
    = { "bitrate_mode", "channel_config", "channels", "track0.channelCount", "track1.channelCount", "chapter_title_0",
          "chapter_title_111", "chapters", "codec_description", "duration", "encoder_info", "encoder_settings",
          "filetype", "format", "max_bitrate", "track0.codecs", "track0.containerMimeType", "track0.frameRate",
          "track0.language", "track0.metadata", "track0.pcmEncoding", "track0.sampleMimeType", "track1.codecs",
          "track1.containerMimeType", "track1.language", "track1.metadata", "track1.sampleMimeType" };

struct Difference {
    std::string file;
    std::string key;
    const char* reason;
};

const std::vector<Difference> kDifferences = {
    { "mp4/alac.m4a", "bitrate_bps", "there: what the cookie of Apple Lossless states; here: all sample bytes" },
    { "mp4/full.alac.m4a", "bitrate_bps", "stated by the cookie there" },
    { "mp4/has-tags.m4a", "bitrate_kbps", "rounded to the nearest there" },
    { "mp4/no-tags.m4a", "bitrate_kbps", "rounded to the nearest there" },
    { "mp4/full.m4a", "duration_s", "there the movie's length, here the sound track's with its priming" },
    { "mp4/sample_with_chapters.mp4", "tracks", "the chapter text track is not counted there" },
    { "mp4/sample.m4a", "sample_rate", "written as a name there" },
    { "mp4/sample_alac.mp4", "track0.track_duration_us", "there the movie's length" },
    { "mp4/sample_opus.mp4", "track0.sample_count", "the tables and the media hold 146" },
    { "mp4/no-tags.3g2", "duration_s", "there the movie's length; the sound track is longer" },
    { "bad/sample_missing_stsd.mp4", "tracks", "a track without sample descriptions does not count there" },
    { "bad/sample_missing_stsd.mp4", "duration_us", "of the tracks that count there" },
};

bool isExplained(const ExpectedRow& row)
{
    return std::any_of(kDifferences.begin(), kDifferences.end(),
        [&](const Difference& difference) { return difference.file == row.file && difference.key == row.key; });
}

bool isMp4(const std::string& file)
{
    return file.starts_with("mp4/") || (file.starts_with("bad/") && file.ends_with(".mp4"));
}

/// The row's value agrees, or what was found instead.
std::optional<std::string> disagreement(Described& d, const ExpectedRow& row)
{
    if (auto answer = Texts.find(row.key); answer != Texts.end()) {
        std::string found = answer->second(d);
        return found == row.value ? std::nullopt : std::optional(found);
    }
    double found = 0;
    double tolerance = 0;
    if (auto answer = Numbers.find(row.key); answer != Numbers.end()) {
        found = answer->second.value(d);
        tolerance = answer->second.tolerance;
    } else {
        found = trackNumber(d, row.key);
        tolerance = kTrackTolerances.at(row.key.substr(7));
    }
    char* end = nullptr;
    double stated = std::strtod(row.value.c_str(), &end); // "3.7 (1 place)"
    if (end == row.value.c_str())
        return "no number";
    return std::abs(found - stated) <= tolerance ? std::nullopt : std::optional(std::to_string(found));
}

TEST(Mp4Corpus, AgreesWithEveryStatedRowOrSaysWhyNot)
{
    MV_NEEDS_CORPUS();
    std::map<std::string, Described> open;
    int compared = 0;
    for (const ExpectedRow& row : corpusExpectations()) {
        if (!isMp4(row.file) || kOutside.contains(row.key))
            continue;
        if (!open.contains(row.file))
            open.emplace(row.file, describe(row.file));
        auto found = disagreement(open.at(row.file), row);
        EXPECT_EQ(found.has_value(), isExplained(row))
            << row.file << " " << row.key << ": stated " << row.value << ", found " << found.value_or("the same");
        ++compared;
    }
    EXPECT_GE(compared, 200);
}

TEST(Mp4Corpus, EveryFileOpensAndReadsKilobytes)
{
    MV_NEEDS_CORPUS();
    for (const std::string& name : corpusFiles("mp4")) {
        auto input = InputFile::open(corpusFile(name));
        ASSERT_TRUE(input.ok());
        CountingSource source(*input);
        auto file = Mp4File::open(StructureReader::borrowing(source));
        ASSERT_TRUE(file.ok()) << name;
        EXPECT_NE(MP4FindTrackId(*file, 0, "soun", 0), MP4_INVALID_TRACK_ID) << name;
        EXPECT_LE(source.bytesRead, 65536u) << name;
    }
}

struct BadRow {
    const char* name;
    bool opens;
};

TEST(Mp4Corpus, BadFiles)
{
    MV_NEEDS_CORPUS();
    for (const BadRow& row : {
             BadRow { "bad/64bit.mp4", false }, // no movie header
             BadRow { "bad/sample_malformed_free_box.mp4", false }, // a box of three bytes hides all the others
             BadRow { "bad/sample_mdat_too_long.mp4", true },
             BadRow { "bad/sample_missing_stsd.mp4", true },
             BadRow { "bad/truncated-64bit.mp4", true },
         })
        EXPECT_EQ(MP4Read(OpenedFile::at(corpusFile(row.name)).content()).ok(), row.opens) << row.name;
    for (const std::string& name : corpusFiles("bad")) {
        bool known = name.ends_with(".mp4");
        EXPECT_FALSE(!known && MP4Read(OpenedFile::at(corpusFile(name)).content()).ok()) << name;
    }
}

TEST(Mp4Corpus, EveryFileIsEditedWithoutLosingAnything)
{
    MV_NEEDS_CORPUS();
    for (const std::string& name : corpusFiles("mp4")) {
        Bytes source = readFile(corpusFile(name));
        for (std::size_t length : { std::size_t { 1 }, std::size_t { 60 }, std::size_t { 5000 } }) {
            SCOPED_TRACE(name);
            TagChange change = [&](MP4Tags& tags) { MP4TagsSetComments(tags, std::string(length, 'c')); };
            EXPECT_NE(edited(source, tagEdit(change)).layout, Layout::Unchanged);
        }
    }
}

} // namespace
} // namespace mv
