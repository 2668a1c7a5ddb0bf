#include "tests/integration/EncodingService.h"
#include "tests/support/Corpus.h"

#include <gmock/gmock.h>
#include <map>
#include <set>

// Tags and covers that go along with the sound.

namespace mv {
namespace {

using test::flagOption;
using test::JobStatus;
using test::Media1Answer;
using test::textOption;

class Media1EncodeTags : public test::EncodingService {
protected:
    /// A song of which all is known that goes along, by the tools of others.
    std::string taggedFlac()
    {
        std::string flac = at("song.flac");
        test::outputOf(
            "ffmpeg -v error -f lavfi -i sine=d=2 -metadata title='A title' -metadata album='애국가' -metadata "
            "artist='AC/DC' -metadata album_artist='Various' -metadata composer='Bach' -metadata genre='Rock' "
            "-metadata comment='so it is' -metadata date=2010-05-04 -metadata track=3 -metadata tracktotal=12 "
            "-metadata disc=1 -metadata disctotal=2 "
            + test::shellQuoted(flac));
        return flac;
    }
    void expectTags(const Media1Answer& made)
    {
        EXPECT_EQ(made.fact("xesam:title"), "s A title");
        EXPECT_EQ(made.fact("xesam:album"), "s 애국가");
        EXPECT_EQ(made.fact("xesam:artist"), "as AC/DC");
        EXPECT_EQ(made.fact("xesam:albumArtist"), "as Various");
        EXPECT_EQ(made.fact("xesam:composer"), "as Bach");
        EXPECT_EQ(made.fact("xesam:genre"), "as Rock");
        EXPECT_EQ(made.fact("xesam:comment"), "as so it is");
        EXPECT_EQ(made.fact("xesam:contentCreated"), "s 2010-05-04");
        EXPECT_EQ(made.fact("xesam:trackNumber"), "i 3");
        EXPECT_EQ(made.fact("mivo:trackTotal"), "i 12");
        EXPECT_EQ(made.fact("xesam:discNumber"), "i 1");
        EXPECT_EQ(made.fact("mivo:discTotal"), "i 2");
    }
};

TEST_F(Media1EncodeTags, GoAlongFromAnyFormatToAny)
{
    std::string source = taggedFlac();
    for (const char* name : { "a.mp3", "a.m4a", "again.m4a", "again.mp3" }) {
        JobStatus end = m_jobs.awaitEnd(m_jobs.begin(source, at(name)));
        ASSERT_EQ(end.state, "done") << name << end.text;
        expectTags(m_media.describe(at(name)));
        source = at(name);
    }
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(source, at("bare.mp3"), { flagOption("tags", false) })).state, "done");
    EXPECT_EQ(m_media.describe(at("bare.mp3")).fact("xesam:title"), "");
    EXPECT_TRUE(charsOf(test::readFile(at("bare.mp3"))).starts_with("\xFF\xFB"));
}

TEST_F(Media1EncodeTags, OtherReadersFindThemAndTheWholeSound)
{
    std::string source = taggedFlac();
    for (const char* name : { "a.mp3", "a.m4a" }) {
        ASSERT_EQ(m_jobs.awaitEnd(m_jobs.begin(source, at(name))).state, "done");
        std::string probed
            = test::outputOf("ffprobe -v error -show_entries "
                             "format_tags=title,artist,track,date:stream=codec_name,duration -of default=nk=1 "
                + test::shellQuoted(at(name)));
        for (const char* text : { "A title", "AC/DC", "3/12", "2010-05-04" })
            EXPECT_NE(probed.find(text), std::string::npos) << name << probed << text;
        EXPECT_EQ(test::outputOf("ffmpeg -v error -i " + test::shellQuoted(at(name)) + " -f null - 2>&1"), "");
    }
}

/// Bytes that begin like a PNG and look like nothing else, of any size.
std::string coverOf(std::size_t size)
{
    std::string cover = "\x89PNG\r\n\x1a\n";
    while (cover.size() < size)
        cover += static_cast<char>(cover.size() * 7 % 251);
    return cover;
}

// The larger ones have no room behind the movie header, so the sound has to move.
TEST_F(Media1EncodeTags, CoversGoAlongByteForByte)
{
    std::map<std::string, std::set<std::string>> sounds;
    for (std::size_t size : { 100u, 8000u, 9000u, 3'000'000u }) {
        std::string cover = coverOf(size);
        std::string frames = test::id3Frame(4, "TPE1", test::zeroed("\3One\0Two"))
            + test::id3Frame(4, "APIC", test::zeroed("\3image/png\0\4back\0") + coverOf(50))
            + test::id3Frame(4, "APIC", test::zeroed("\3image/png\0\3front\0") + cover);
        std::string source = m_folder.write("covered.mp3", test::id3Tag(4, frames) + test::mpegFrames(100));
        for (const char* name : { "c.mp3", "c.m4a" }) {
            std::string job = m_jobs.begin(source, at(name), { flagOption("replace", true) });
            ASSERT_EQ(m_jobs.awaitEnd(job).state, "done") << size << name << m_service.log();
            Media1Answer made = m_media.describe(at(name), { flagOption("pictures", true) });
            EXPECT_EQ(made.fact("xesam:artist"), "as One|Two") << name;
            ASSERT_EQ(made.pictures.size(), std::string_view(name) == "c.mp3" ? 2u : 1u);
            std::string data(cover.size() + 1, 0);
            data.resize(static_cast<std::size_t>(
                std::max<ssize_t>(0, pread(made.pictures[0].data.get(), data.data(), data.size(), 0))));
            EXPECT_TRUE(data == cover) << size << name;
            // The sound of all sizes is one.
            sounds[name].insert(test::outputOf(
                "ffmpeg -v fatal -i " + test::shellQuoted(at(name)) + " -map 0:a -c copy -f streamhash -"));
            EXPECT_EQ(sounds[name].size(), 1u) << size << name;
        }
    }
}

class Media1EncodeCorpus : public test::EncodingService, public testing::WithParamInterface<const char*> {
protected:
    static bool isShortSound(const Media1Answer& facts)
    {
        constexpr long MaxMicroseconds = 60'000'000;
        std::string length = facts.ok() ? facts.fact("mpris:length") : "";
        return length.starts_with("x ") && std::stol(length.substr(2)) <= MaxMicroseconds
            && !facts.fact("mivo:audioCodec").empty();
    }
    /// The value as it goes along: nothing says that a song is of no compilation, and an ID3 tag has no room for an
    /// offset from UTC.
    static std::string carried(const Media1Answer& facts, const std::string& key)
    {
        constexpr std::size_t DateTimeLength = std::string_view("s 2016-05-31T17:01:35").size();
        std::string value = facts.fact(key);
        if (key == "xesam:contentCreated")
            return value.substr(0, DateTimeLength);
        return value == "b false" ? "" : value;
    }
    void expectCarried(const Media1Answer& source, const Media1Answer& made, const std::string& name)
    {
        for (const char* key : { "xesam:title", "xesam:album", "xesam:artist", "xesam:albumArtist", "xesam:composer",
                 "xesam:genre", "xesam:comment", "xesam:trackNumber", "mivo:trackTotal", "xesam:discNumber",
                 "mivo:discTotal", "xesam:contentCreated", "xesam:asText", "xesam:audioBPM", "mivo:compilation" })
            EXPECT_EQ(carried(made, key), carried(source, key)) << key << " of " << name;
    }
};

// They say that they have sound, and are cut off before any of it: ffmpeg decodes nothing of them either.
const std::set<std::string> CutOff { "audio/full.wma", "mp3/id3v22.id3", "mp3/id3v23.id3", "mp3/id3v24.id3",
    "mp3/id3v24_ext.id3", "mp3/play-trimmed.mp3", "mp4/fragmented.mp4", "video/QuickTime.mov" };

TEST_P(Media1EncodeCorpus, EverySoundIsEncodedWithItsTagsOrRefused)
{
    MV_NEEDS_CORPUS();
    int done = 0;
    std::set<std::string> refused;
    for (const std::string& name : test::corpusFiles(GetParam())) {
        Media1Answer source = m_media.describe(test::corpusFile(name));
        if (!isShortSound(source))
            continue;
        for (const char* format : { "mp3", "aac" }) {
            std::string destination = at(std::string("made.") + format);
            std::string job = m_jobs.begin(test::corpusFile(name), destination,
                { textOption("format", format), flagOption("replace", true), textOption("quality", "fast") });
            JobStatus end = m_jobs.awaitEnd(job);
            m_jobs.release(job);
            if (end.state != "done") {
                EXPECT_EQ(end.error, "Unsupported") << name << ": " << end.text;
                refused.insert(name);
                continue;
            }
            ++done;
            expectCarried(source, m_media.describe(destination), name + " as " + format);
        }
    }
    EXPECT_THAT(refused, testing::IsSubsetOf(CutOff));
    EXPECT_GT(done, 0);
    EXPECT_EQ(m_service.log().find("was lost"), std::string::npos) << m_service.log();
}

INSTANTIATE_TEST_SUITE_P(Every, Media1EncodeCorpus, testing::Values("audio", "mp3", "mp4", "video"),
    [](const auto& row) { return row.param; });

} // namespace
} // namespace mv
