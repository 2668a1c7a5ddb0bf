#include "tests/integration/FaultyService.h"
#include "tests/integration/Job1Client.h"
#include "tests/integration/RunningService.h"
#include "tests/support/Corpus.h"
#include "tests/support/Mp3Maker.h"
#include "tests/support/ProcessTree.h"

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

// Encode and its jobs, over a bus.

namespace mv {
namespace {

using test::countOption;
using test::flagOption;
using test::Job1Client;
using test::JobStatus;
using test::Media1Answer;
using test::Media1Client;
using test::Media1Options;
using test::textOption;

constexpr const char* InvalidArgs = "org.freedesktop.DBus.Error.InvalidArgs";

// As long as it takes an encoder to be seen at it, on any machine: nothing waits for the end of such a job.
constexpr double LongSeconds = 1200;

class Media1Encode : public test::RunningService {
protected:
    using test::RunningService::RunningService;

    std::string wave(const std::string& name, double seconds = 1)
    {
        return m_folder.write(name, test::waveFile(seconds));
    }
    std::string at(const std::string& name) const { return m_folder.file(name); }
    bool isThere(const std::string& name) const { return access(at(name).c_str(), F_OK) == 0; }
    /// Everything in the folder, hidden files too.
    std::size_t files() const
    {
        using std::filesystem::directory_iterator;
        return static_cast<std::size_t>(std::distance(directory_iterator(m_folder.path()), directory_iterator()));
    }
    /// A job that has begun to encode, and does not end by itself soon.
    std::string longJob(const std::string& destination, const Media1Options& options = {})
    {
        std::string source = at("long.wav");
        if (!isThere("long.wav"))
            wave("long.wav", LongSeconds);
        std::string job = m_jobs.begin(source, at(destination), options);
        EXPECT_TRUE(test::eventually([&] { return m_jobs.status(job).progress > 0; }));
        return job;
    }

    test::ScratchFolder m_folder { test::memoryFolder() };
    Job1Client m_jobs { m_client };
    Media1Client m_media { m_client };
};

TEST_F(Media1Encode, MakesWhatTheEndingSays)
{
    std::string source = wave("a.wav");
    for (auto [name, codec] :
        { std::pair("a.mp3", "s mp3"), std::pair("a.m4a", "s aac"), std::pair("B.MP3", "s mp3") }) {
        std::string job = m_jobs.begin(source, at(name));
        EXPECT_TRUE(job.starts_with("/Mivo/Media1/jobs/")) << job;
        JobStatus end = m_jobs.awaitEnd(job);
        EXPECT_EQ(end.state, "done") << end.error << end.text << m_service.log();
        EXPECT_EQ(end.progress, 1.0);
        EXPECT_EQ(end.error + end.text, "");
        EXPECT_EQ(end.source, source);
        EXPECT_EQ(end.destination, at(name));
        Media1Answer made = m_media.describe(at(name));
        EXPECT_EQ(made.fact("mivo:audioCodec"), codec);
        EXPECT_EQ(made.fact("mivo:sampleRate"), "u 44100");
        EXPECT_EQ(made.fact("mivo:channels"), "u 2");
    }
    EXPECT_EQ(files(), 4u);
}

TEST_F(Media1Encode, OptionsSayHow)
{
    std::string source = wave("a.wav", 3);
    auto encode = [&](const std::string& name, Media1Options options) {
        EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(source, at(name), options)).state, "done") << name;
        return m_media.describe(at(name));
    };
    EXPECT_EQ(encode("format.bin", { textOption("format", "mp3") }).fact("mivo:audioCodec"), "s mp3");
    EXPECT_EQ(encode("other.mp3", { textOption("format", "aac") }).fact("mivo:audioCodec"), "s aac");
    EXPECT_EQ(encode("64.mp3", { countOption("bitrate", 64'000) }).fact("mivo:bitrate"), "u 64000");
    EXPECT_EQ(encode("256.mp3", { countOption("bitrate", 256'000), countOption("cores", 7) }).fact("mivo:bitrate"),
        "u 256000");
    std::string variable = encode("vbr.mp3", { flagOption("vbr", true) }).fact("mivo:bitrate");
    EXPECT_NE(variable, encode("cbr.mp3", { flagOption("vbr", false) }).fact("mivo:bitrate"));
    auto small = encode("64.m4a", { countOption("bitrate", 64'000) });
    auto large = encode("256.m4a", { countOption("bitrate", 256'000) });
    EXPECT_LT(std::filesystem::file_size(at("64.m4a")), std::filesystem::file_size(at("256.m4a")) / 2);
    EXPECT_EQ(encode("mono.mp3", { textOption("mode", "mono") }).fact("mivo:channels"), "u 1");
    encode("stereo.mp3", { textOption("mode", "stereo") });
    encode("joint.mp3", { textOption("mode", "joint") });
    EXPECT_EQ(test::readFile(at("joint.mp3")), test::readFile(at("cbr.mp3"))) << "what two channels are by themselves";
    EXPECT_NE(test::readFile(at("joint.mp3")), test::readFile(at("stereo.mp3")));
    encode("fast.mp3", { textOption("quality", "fast") });
    encode("best.mp3", { textOption("quality", "best"), textOption("flavour", "unknown") });
    EXPECT_NE(test::readFile(at("fast.mp3")), test::readFile(at("best.mp3")));
}

TEST_F(Media1Encode, WrongArgumentsAreRefused)
{
    std::string source = wave("a.wav");
    auto errorOf = [&](const Media1Options& options) { return m_jobs.encode(source, at("b.mp3"), options).error; };
    EXPECT_EQ(m_jobs.encode("a.wav", at("b.mp3")).error, InvalidArgs);
    EXPECT_EQ(m_jobs.encode(source, "b.mp3").error, InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("format", "ogg") }), InvalidArgs);
    EXPECT_EQ(errorOf({ flagOption("format", true) }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("quality", "worst") }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("mode", "dual") }), InvalidArgs);
    EXPECT_EQ(errorOf({ countOption("bitrate", 0) }), InvalidArgs);
    EXPECT_EQ(errorOf({ countOption("bitrate", 1'000'000) }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("bitrate", "128000") }), InvalidArgs);
    EXPECT_EQ(errorOf({ textOption("replace", "yes") }), InvalidArgs);
    EXPECT_EQ(errorOf({ flagOption("cores", true) }), InvalidArgs);
    EXPECT_EQ(files(), 1u);
}

TEST_F(Media1Encode, WhatIsKnownBeforeFailsTheCall)
{
    std::string source = wave("a.wav");
    std::string text = m_folder.write("text.txt", "no media");
    std::string older = m_folder.write("older.mp3", "older");
    std::string picture = at("p.png");
    test::outputOf("ffmpeg -v error -f lavfi -i color=red:s=8x8:d=1 -frames:v 1 " + test::shellQuoted(picture));
    struct Row {
        std::string source, destination, error, text;
    };
    const Row rows[] {
        { at("nobody.wav"), at("b.mp3"), "NotFound", "There is no file \"nobody.wav\"." },
        { m_folder.path(), at("b.mp3"), "NotRegular", "" },
        { text, at("b.mp3"), "NotMedia", "" },
        { picture, at("b.mp3"), "Unsupported", "" },
        { source, at("b.ogg"), "Unsupported", "The ending of \"b.ogg\" is of no format that is encoded to." },
        { source, at("b"), "Unsupported", "" },
        { source, older, "Exists", "\"older.mp3\" is there already." },
        { source, at("no/b.mp3"), "NotFound", "The folder for \"b.mp3\" is not there." },
        { source, older + "/b.mp3", "NotFound", "" },
    };
    for (const Row& row : rows) {
        test::Answer answer = m_jobs.encode(row.source, row.destination);
        EXPECT_EQ(answer.error, row.error) << row.source << " " << row.destination << " " << answer.text;
        if (!row.text.empty()) {
            EXPECT_EQ(answer.text, row.text);
        }
        EXPECT_EQ(answer.text.find(m_folder.path() + "/"), std::string::npos) << answer.text;
    }
    ASSERT_EQ(symlink("nowhere", at("dangling.mp3").c_str()), 0);
    EXPECT_EQ(m_jobs.encode(source, at("dangling.mp3")).error, "Exists");
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
}

TEST_F(Media1Encode, ReplacingLeavesTheOlderFileUntilTheNewOneIsWhole)
{
    std::string older = m_folder.write("b.mp3", "older");
    ASSERT_EQ(chmod(older.c_str(), 0640), 0);
    std::string job = longJob("b.mp3", { flagOption("replace", true) });
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    ASSERT_TRUE(m_jobs.cancel(job).ok());
    EXPECT_EQ(charsOf(test::readFile(older)), "older");
    job = m_jobs.begin(wave("a.wav"), older, { flagOption("replace", true) });
    EXPECT_EQ(m_jobs.awaitEnd(job).state, "done");
    EXPECT_EQ(m_media.describe(older).fact("mivo:audioCodec"), "s mp3");
    struct stat facts { };
    ASSERT_EQ(stat(older.c_str(), &facts), 0);
    EXPECT_EQ(facts.st_mode & 0777, 0640u);
    EXPECT_EQ(m_jobs.encode(older, older, { flagOption("replace", true) }).error, "Exists") << "the source itself";
    ASSERT_EQ(link(older.c_str(), at("again.mp3").c_str()), 0);
    EXPECT_EQ(m_jobs.encode(older, at("again.mp3"), { flagOption("replace", true) }).error, "Exists");
    EXPECT_EQ(m_jobs.encode(older, m_folder.path(), { flagOption("replace", true), textOption("format", "mp3") }).error,
        "NotRegular");
}

TEST_F(Media1Encode, WhatComesToTheDestinationMeanwhileStays)
{
    std::string job = m_jobs.begin(wave("some.wav", 60), at("b.mp3"));
    m_folder.write("b.mp3", "somebody else's");
    JobStatus end = m_jobs.awaitEnd(job);
    EXPECT_EQ(end.state, "failed");
    EXPECT_EQ(end.error, "Exists") << end.text;
    EXPECT_EQ(charsOf(test::readFile(at("b.mp3"))), "somebody else's");
    EXPECT_EQ(files(), 2u);
}

TEST_F(Media1Encode, ACancelledJobLeavesNothing)
{
    for (const char* name : { "b.mp3", "b.m4a" }) {
        std::string job = longJob(name);
        EXPECT_FALSE(isThere(name)) << "it appears at the end";
        EXPECT_TRUE(m_jobs.cancel(job).ok());
        JobStatus end = m_jobs.status(job);
        EXPECT_EQ(end.state, "cancelled");
        EXPECT_EQ(end.error, "Cancelled");
        EXPECT_EQ(end.text, "Encoding \"long.wav\" was cancelled.");
        EXPECT_LT(end.progress, 1.0);
        EXPECT_FALSE(isThere(name));
        EXPECT_TRUE(m_jobs.cancel(job).ok()) << "once more";
        EXPECT_EQ(m_jobs.status(job).state, "cancelled");
    }
    EXPECT_EQ(files(), 1u);
    EXPECT_EQ(m_service.log().find("lost"), std::string::npos) << "nobody is to blame: " << m_service.log();
}

TEST_F(Media1Encode, AnEndedJobLivesUntilItIsReleased)
{
    std::string job = m_jobs.begin(wave("a.wav"), at("b.mp3"));
    EXPECT_EQ(m_jobs.awaitEnd(job).state, "done");
    EXPECT_TRUE(m_jobs.cancel(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "done");
    EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "");
    EXPECT_FALSE(m_jobs.release(job).ok());
    EXPECT_TRUE(isThere("b.mp3"));
    EXPECT_NE(m_jobs.begin(wave("a.wav"), at("c.mp3")), job) << "no path is given twice";
}

TEST_F(Media1Encode, ReleasingARunningJobCancelsIt)
{
    std::size_t children = test::childrenOf(m_service.pid()).size();
    std::string job = longJob("b.mp3");
    EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.status(job).state, "");
    EXPECT_TRUE(test::eventually([&] { return test::childrenOf(m_service.pid()).size() <= children + 2; }));
    EXPECT_EQ(files(), 1u);
}

TEST_F(Media1Encode, AClientThatLeavesTakesItsJobsWithIt)
{
    wave("long.wav", LongSeconds);
    std::string job;
    {
        test::BusClient leaves;
        Job1Client theirs(leaves);
        job = theirs.begin(at("long.wav"), at("b.mp3"));
        std::string ended = theirs.begin(wave("a.wav"), at("c.mp3"));
        EXPECT_EQ(theirs.awaitEnd(ended).state, "done");
        EXPECT_EQ(m_jobs.status(job).state, "running") << "anybody may look";
    }
    EXPECT_TRUE(test::eventually([&] { return m_jobs.status(job).state.empty(); }));
    EXPECT_TRUE(test::eventually([&] { return test::childrenOf(m_service.pid()).size() <= 3; }));
    EXPECT_EQ(files(), 3u);
}

TEST_F(Media1Encode, ChangesAreToldAtMostTenTimesASecondAndTheLastAlways)
{
    std::string source = wave("some.wav", 60);
    auto begin = std::chrono::steady_clock::now();
    std::string job = m_jobs.begin(source, at("b.mp3"));
    m_client.serveUntil([&] {
        const auto& all = m_jobs.changes();
        return !all.empty() && std::ranges::find(all.back().names, "State") != all.back().names.end();
    });
    EXPECT_EQ(m_jobs.status(job).state, "done") << "when the last one was told";
    const auto changes = m_jobs.changes();
    ASSERT_FALSE(changes.empty());
    for (const auto& change : changes)
        EXPECT_EQ(change.job, job);
    EXPECT_EQ(changes.back().names, (std::vector<std::string> { "State", "Progress", "Error" }));
    // How close together they arrive is the machine's affair; how many there are in so long a time is not.
    auto took = std::chrono::steady_clock::now() - begin;
    EXPECT_LE(static_cast<long>(changes.size()), took / std::chrono::milliseconds(100) + 1);
    EXPECT_EQ(std::ranges::count_if(changes, [](const auto& one) { return one.names.size() > 1; }), 1);
}

TEST_F(Media1Encode, ManyJobsWaitForTheirTurnAndKeepNobodyWaiting)
{
    wave("long.wav", LongSeconds);
    std::vector<std::string> jobs;
    for (int i = 0; i < 20; ++i)
        jobs.push_back(m_jobs.begin(at("long.wav"), at(std::to_string(i) + ".mp3")));
    EXPECT_TRUE(m_media.describe(wave("a.wav")).ok()) << "calls are not behind jobs";
    test::BusClient other;
    Job1Client theirs(other);
    EXPECT_EQ(theirs.awaitEnd(theirs.begin(at("a.wav"), at("theirs.mp3"))).state, "done") << "nor are other clients";
    // One that has not begun ends at once.
    EXPECT_TRUE(m_jobs.cancel(jobs.back()).ok());
    EXPECT_EQ(m_jobs.status(jobs.back()).state, "cancelled");
    for (const std::string& job : jobs)
        EXPECT_TRUE(m_jobs.release(job).ok());
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(at("a.wav"), at("mine.mp3"))).state, "done");
    EXPECT_EQ(files(), 4u);
}

TEST_F(Media1Encode, QuittingEndsTheJobs)
{
    longJob("b.mp3");
    ASSERT_TRUE(quit());
    EXPECT_EQ(m_service.waitForEnd(), 0);
    EXPECT_EQ(files(), 1u);
}

// ---- Tags

class Media1EncodeTags : public Media1Encode {
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

// ---- The corpus

class Media1EncodeCorpus : public Media1Encode, public testing::WithParamInterface<const char*> {
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

// ---- Faults

// Run by the test below, in a process that has a small file system of its own.
TEST(Media1EncodeDisk, DISABLED_IsFull)
{
    test::PrivateBus bus;
    test::ServiceProcess service;
    ASSERT_TRUE(service.waitUntilReady());
    test::BusClient client;
    Job1Client jobs(client);
    test::ScratchFolder sources;
    std::string wave = sources.write("a.wav", test::waveFile(120));
    const std::string folder = std::getenv("MIVO_FULL_DISK");
    for (const char* name : { "/b.mp3", "/b.m4a" }) {
        std::ofstream(folder + name) << "older";
        std::string job
            = jobs.begin(wave, folder + name, { flagOption("replace", true), countOption("bitrate", 256'000) });
        JobStatus end = jobs.awaitEnd(job);
        EXPECT_EQ(end.state, "failed") << name;
        EXPECT_EQ(end.error, "NoSpace") << end.text;
        EXPECT_EQ(charsOf(test::readFile(folder + name)), "older");
    }
    using std::filesystem::directory_iterator;
    EXPECT_EQ(std::distance(directory_iterator(folder), directory_iterator()), 2) << "nothing hidden";
}

TEST(Media1EncodeDisk, ThatIsFullFailsTheJobAndKeepsTheOlderFile)
{
    test::ScratchFolder folder;
    std::string inNamespace = "unshare --mount --propagation private sh -ec ";
    std::string mount = "mount -t tmpfs -o size=1m none " + folder.path();
    if (geteuid() != 0 || test::run(inNamespace + test::shellQuoted(mount)) != 0)
        GTEST_SKIP() << "a file system of one's own needs root and a mount namespace";
    std::string program = std::filesystem::read_symlink("/proc/self/exe");
    std::string output = test::outputOf(inNamespace
        + test::shellQuoted(mount + " && MIVO_FULL_DISK=" + folder.path() + " " + program
            + " --gtest_also_run_disabled_tests --gtest_filter=Media1EncodeDisk.DISABLED_IsFull 2>&1 || true"));
    EXPECT_NE(output.find("[  PASSED  ] 1 test."), std::string::npos) << output;
}

class Media1EncodeDeath : public test::FaultyService {
protected:
    std::string wave(const std::string& name) { return m_folder.write(name, test::waveFile(1)); }

    test::ScratchFolder m_folder;
    Job1Client m_jobs { m_client };
};

class Media1EncodeDeathBy : public Media1EncodeDeath, public testing::WithParamInterface<const char*> { };

// The host finds out before the job what its source is, by another worker.
TEST_P(Media1EncodeDeathBy, FailsTheCallWhereTheSourceIsLookedAt)
{
    test::Answer answer = m_jobs.encode(wave(std::string(GetParam()) + "-at-job.wav"), m_folder.file("b.mp3"));
    EXPECT_EQ(answer.error, "Crashed") << answer.text;
    EXPECT_FALSE(std::filesystem::exists(m_folder.file("b.mp3")));
}

// What the destination is called reaches the worker of the job alone.
TEST_P(Media1EncodeDeathBy, FailsTheJobAndLeavesWhatWasThere)
{
    for (const char* moment : { "job", "reply" }) {
        for (const char* ending : { ".mp3", ".m4a" }) {
            std::string name = std::string(GetParam()) + "-at-" + moment + ending;
            std::string older = m_folder.write(name, "older");
            // Each of another source: one that has ended a worker is left alone.
            std::string source = wave("source-" + std::string(moment) + ending + ".wav");
            JobStatus end = m_jobs.awaitEnd(m_jobs.begin(source, older, { flagOption("replace", true) }));
            EXPECT_EQ(end.state, "failed") << name;
            EXPECT_EQ(end.error, "Crashed") << name << end.text;
            EXPECT_EQ(charsOf(test::readFile(older)), "older") << name;
            EXPECT_EQ(
                m_jobs.awaitEnd(m_jobs.begin(source, m_folder.file("again" + std::string(ending)))).error, "Crashed")
                << "remembered";
        }
    }
    EXPECT_EQ(m_jobs.awaitEnd(m_jobs.begin(wave("good.wav"), m_folder.file("good.mp3"))).state, "done");
    EXPECT_TRUE(test::eventually([&] {
        auto children = test::childrenOf(m_service.pid());
        return children.size() <= 4 && std::ranges::none_of(children, test::isZombie);
    }));
}

INSTANTIATE_TEST_SUITE_P(Every, Media1EncodeDeathBy,
    testing::Values("crash", "trap", "leave", "garbage", "turn", "half"),
    [](const auto& row) { return std::string(row.param); });

TEST_F(Media1EncodeDeath, AfterTheNamingTheFileIsWholeAndTheJobDone)
{
    std::string source = wave("a.wav");
    JobStatus end = m_jobs.awaitEnd(m_jobs.begin(source, m_folder.file("crash-at-answer.mp3")));
    EXPECT_EQ(end.state, "done") << end.error;
    // Under a name that does nothing to who reads it.
    std::filesystem::rename(m_folder.file("crash-at-answer.mp3"), m_folder.file("made.mp3"));
    EXPECT_TRUE(Media1Client(m_client).describe(m_folder.file("made.mp3")).ok());
}

} // namespace
} // namespace mv
