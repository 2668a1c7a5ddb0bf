// The exporter on real files, judged by other programs.
#include "service/transcode/MP4ExporterImpl.h"

#include "Base/Core/ByteReader.h"
#include "Base/Media/MediaDB.h"
#include "platform/system/MainThread.h"
#include "service/parsers/MP4Parser.h"
#include "tests/support/BoxTree.h"
#include "tests/support/Corpus.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <filesystem>
#include <gmock/gmock.h>
#include <gtest/gtest.h>
#include <signal.h>
#include <sys/mount.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

std::string shell(const std::string& text) { return mv::test::quoted(text); }

class RecordingDelegate final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        percents.push_back(percent);
        return percents.size() < refuseAt;
    }
    std::vector<std::int32_t> percents;
    std::size_t refuseAt = SIZE_MAX; // the call that is answered with NO
};

class MP4ExporterRealTest : public testing::Test {
protected:
    void SetUp() override
    {
        // The MP3 parser may hop to the main thread, which runs no loop here.
        MainThread::setExecutorForTesting([](const std::function<void()>& work) { work(); });
    }
    void TearDown() override { MainThread::setExecutorForTesting({}); }

    std::string make(const std::string& name, const std::string& options)
    {
        std::string path = m_scratch.file(name);
        outputOf("ffmpeg -v error " + options + " -fflags +bitexact -y " + shell(path));
        return path;
    }
    std::string tone(const std::string& name, const std::string& seconds, const std::string& options = "")
    {
        return make(name, "-f lavfi -i sine=440:d=" + seconds + ":r=44100 " + options);
    }
    std::string movie(const std::string& name, const std::string& options)
    {
        return make(name, "-f lavfi -i testsrc=d=2:s=160x120:r=25 -f lavfi -i sine=d=2:r=44100 " + options);
    }
    static std::string probe(const std::string& path, const std::string& what)
    {
        std::string text = outputOf("ffprobe -v error -show_entries " + what + " -of csv=p=0 " + shell(path));
        while (!text.empty() && text.back() == '\n')
            text.pop_back();
        return text;
    }
    // One line for each stream: its kind and the hash of its packets.
    static std::string hashes(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -map 0:V? -map 0:a? -c copy -f streamhash -");
    }
    static std::string pictures(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -map 0:V -vsync passthrough -f rawvideo - | md5sum");
    }
    static std::string pcmHash(const std::string& path)
    {
        return outputOf("ffmpeg -v error -i " + shell(path) + " -f s16le - | md5sum");
    }
    std::int32_t convert(const std::string& source, const std::string& target, std::int32_t bitrate = 128000)
    {
        return m_exporter.convertToAacWithDelegateFromPathToMp4PathBitrate(&m_delegate, source, target, bitrate);
    }
    std::int32_t exportMovie(const std::string& source, const std::string& target)
    {
        return m_exporter.exportWithDelegateFromPathToMp4Path(&m_delegate, source, target);
    }
    static std::vector<std::string> filesIn(const std::string& folder)
    {
        std::vector<std::string> names;
        for (const auto& entry : std::filesystem::directory_iterator(folder))
            names.push_back(entry.path().filename());
        return names;
    }

    ScratchFolder m_scratch;
    LogCapture m_log;
    MP4ExporterImpl m_exporter;
    RecordingDelegate m_delegate;
    std::string m_target = m_scratch.file("out.m4a");
};

// ---- Conversion

TEST_F(MP4ExporterRealTest, ConvertsEveryKindOfSource)
{
    struct Row {
        const char* name;
        const char* options;
        const char* made; ///< rate, channels, length in frames
    };
    const std::vector<Row> rows {
        { "a.wav", "", "44100,1,132300" },
        { "a24.wav", "-ac 2 -c:a pcm_s24le", "44100,2,132300" },
        { "a32f.wav", "-c:a pcm_f32le", "44100,1,132300" },
        { "a8.wav", "-ar 8000 -c:a pcm_u8", "8000,1,24000" },
        { "a.flac", "-ac 2 -ar 48000", "48000,2,144000" },
        { "a96.flac", "-ar 96000", "96000,1,288000" },
        { "a.mp3", "-ac 2", "44100,2,132300" },
        { "a.ogg", "-c:a libvorbis", "44100,1,132300" },
        { "a.opus", "-c:a libopus -ar 48000", "48000,1,144000" },
        { "aac.m4a", "-c:a aac", "44100,1,132300" },
        { "alac.m4a", "-c:a alac", "44100,1,132300" },
        { "a.aiff", "", "44100,1,132300" },
        { "a51.flac", "-ac 6", "44100,6,132300" },
        { "a192.wav", "-ar 192000", "96000,1,288000" }, // rates that AAC lacks become the nearest
        { "a50.wav", "-ar 50000", "48000,1,144000" },
    };
    for (const Row& row : rows) {
        m_delegate.percents.clear();
        EXPECT_EQ(convert(tone(row.name, "3", row.options), m_target), 0) << row.name;
        EXPECT_EQ(probe(m_target, "stream=sample_rate,channels,duration_ts"), row.made) << row.name;
        EXPECT_EQ(m_delegate.percents.back(), 100) << row.name;
        EXPECT_TRUE(std::is_sorted(m_delegate.percents.begin(), m_delegate.percents.end())) << row.name;
    }
}

TEST_F(MP4ExporterRealTest, TheSameSourceMakesTheSameBytes)
{
    std::string source = tone("a.wav", "5", "-ac 2");
    ASSERT_EQ(convert(source, m_target), 0);
    Bytes first = readFile(m_target);
    for (int i = 0; i < 3; ++i) {
        ASSERT_EQ(convert(source, m_target), 0);
        EXPECT_EQ(readFile(m_target), first);
    }
}

TEST_F(MP4ExporterRealTest, Mp3SourcesHaveTheirTagInFrontOfTheNewFile)
{
    std::string source = tone("a.mp3", "3", "-metadata title=Tune -metadata artist=Ann -metadata album=Best");
    ASSERT_EQ(convert(source, m_target), 0);
    Bytes made = readFile(m_target);
    ASSERT_GT(made.size(), 10u);
    EXPECT_EQ(charsOf(ByteView(made).first(3)), "ID3");
    std::string tags = outputOf("/usr/bin/python3 -c \"import mutagen.id3,sys; t=mutagen.id3.ID3(sys.argv[1]); "
                                "print(t['TIT2'],t['TPE1'],t['TALB'])\" "
        + shell(m_target));
    EXPECT_EQ(tags, "Tune Ann Best\n");

    // It plays: what is heard is what a conversion without the tag gives.
    std::string plain = m_scratch.file("plain.m4a");
    std::string untagged = make("b.mp3", "-i " + shell(source) + " -c copy -map_metadata -1 -id3v2_version 0");
    std::filesystem::copy_file(untagged, m_scratch.file("noname"));
    ASSERT_EQ(convert(m_scratch.file("noname"), plain), 0);
    EXPECT_EQ(pcmHash(m_target), pcmHash(plain));
    EXPECT_EQ(probe(m_target, "stream=duration_ts"), "132300");

    // It describes.
    auto record = MP4Parser {}.build(m_target);
    ASSERT_TRUE(record.has_value());
    ASSERT_TRUE(record->find(MediaDBMusicColumnPlayLength));
    EXPECT_NEAR(*record->find(MediaDBMusicColumnPlayLength)->real(), 3.0, 0.1);
}

TEST_F(MP4ExporterRealTest, M4aSourcesKeepTheirTagsAsItems)
{
    std::string source = tone("a.m4a", "3", "-c:a alac -metadata title=Tune -metadata artist=Ann -metadata track=3/9");
    ASSERT_EQ(convert(source, m_target), 0);
    auto record = MP4Parser {}.build(m_target);
    ASSERT_TRUE(record.has_value());
    EXPECT_EQ(*record->string(MediaDBMusicColumnTitle), "Tune");
    EXPECT_EQ(*record->string(MediaDBMusicColumnArtist), "Ann");
    EXPECT_EQ(record->integer(MediaDBMusicColumnTrackNo), 3);
    Bytes made = readFile(m_target);
    std::vector<std::string> order;
    for (const BoxTree& box : readBoxes(made).children)
        order.push_back(box.type);
    EXPECT_THAT(order, ElementsAre("ftyp", "moov", "free", "mdat")) << "the room behind the header was enough";
}

TEST_F(MP4ExporterRealTest, ACancelledConversionLeavesAPlayableFileWithTags)
{
    std::string source = tone("a.m4a", "30", "-c:a alac -metadata title=Tune");
    m_delegate.refuseAt = 40;
    EXPECT_EQ(convert(source, m_target), -1);
    EXPECT_EQ(m_delegate.percents.size(), 40u);
    EXPECT_EQ(m_delegate.percents.back(), 40);
    double seconds = std::stod(probe(m_target, "stream=duration"));
    EXPECT_NEAR(seconds, 12, 0.2);
    EXPECT_EQ(*MP4Parser {}.build(m_target)->string(MediaDBMusicColumnTitle), "Tune");
}

TEST_F(MP4ExporterRealTest, AnOlderDestinationIsReplaced)
{
    std::string source = tone("a.wav", "1");
    m_scratch.write("out.m4a", std::string(1'000'000, 'x'));
    chmod(m_target.c_str(), 0640);
    EXPECT_EQ(convert(source, m_target), 0);
    EXPECT_EQ(probe(m_target, "stream=duration_ts"), "44100");
    EXPECT_LT(std::filesystem::file_size(m_target), 100'000u);
    EXPECT_EQ(static_cast<int>(std::filesystem::status(m_target).permissions()), 0640);
    EXPECT_THAT(filesIn(m_scratch.path()), UnorderedElementsAre("a.wav", "out.m4a"));
}

TEST_F(MP4ExporterRealTest, ConversionErrors)
{
    std::string source = tone("a.wav", "1");
    EXPECT_EQ(convert(m_scratch.file("missing.wav"), m_target), -43);
    EXPECT_EQ(convert(m_scratch.write("text.wav", "no sound at all"), m_target), 0x7479703F); // 'typ?'
    EXPECT_EQ(convert(source, m_scratch.file("no/folder.m4a")), -43);
    EXPECT_EQ(convert(source, "/proc/out.m4a"), -43);
    EXPECT_FALSE(std::filesystem::exists(m_target));
    mkdir(m_target.c_str(), 0700);
    EXPECT_NE(convert(source, m_target), 0);
    EXPECT_TRUE(std::filesystem::is_directory(m_target));
    std::string fifo = m_scratch.file("fifo");
    mkfifo(fifo.c_str(), 0600);
    EXPECT_NE(convert(source, fifo), 0);
    EXPECT_NE(convert(fifo, m_scratch.file("x.m4a")), 0);
    std::vector<std::int32_t> none;
    EXPECT_EQ(m_delegate.percents, none);
}

TEST_F(MP4ExporterRealTest, SourceAsDestinationStaysWhole)
{
    std::string source = tone("a.wav", "1");
    Bytes before = readFile(source);
    EXPECT_EQ(convert(source, source), -50);
    std::filesystem::create_symlink(source, m_scratch.file("link.m4a"));
    EXPECT_EQ(convert(source, m_scratch.file("link.m4a")), -50);
    EXPECT_EQ(exportMovie(source, m_scratch.file("link.m4a")), -50);
    EXPECT_EQ(readFile(source), before);
}

// A limit on the size of files stands for a disk that is full: writing fails at every tenth of the job.
TEST_F(MP4ExporterRealTest, AFullDiskLeavesTheOlderFile)
{
    std::string source = tone("a.wav", "20", "-ac 2");
    ASSERT_EQ(convert(source, m_target, 256000), 0);
    auto whole = std::filesystem::file_size(m_target);
    m_scratch.write("out.m4a", "older");
    struct rlimit old { };
    getrlimit(RLIMIT_FSIZE, &old);
    auto before = signal(SIGXFSZ, SIG_IGN);
    for (unsigned tenth = 0; tenth < 10; ++tenth) {
        struct rlimit limit {
            whole *tenth / 10, old.rlim_max
        };
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        m_delegate.percents.clear();
        std::int32_t status = convert(source, m_target, 256000);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
        EXPECT_EQ(status, -34) << tenth;
        EXPECT_TRUE(m_delegate.percents.empty() || m_delegate.percents.back() < 100) << tenth;
        EXPECT_EQ(charsOf(readFile(m_target)), "older") << tenth;
    }
    signal(SIGXFSZ, before);
    EXPECT_THAT(filesIn(m_scratch.path()), UnorderedElementsAre("a.wav", "out.m4a"));
}

TEST_F(MP4ExporterRealTest, CorpusIsConvertedOrRefusedWithACode)
{
    MV_NEEDS_CORPUS();
    int converted = 0;
    for (const std::string& name : corpusFiles("audio")) {
        std::int32_t status = convert(corpusFile(name), m_target);
        if (status != 0) {
            EXPECT_FALSE(std::filesystem::exists(m_target)) << name;
            EXPECT_TRUE(status == 0x7479703F || status == 0x666D743F || status == 0x6474613F) << name << " " << status;
            continue;
        }
        ++converted;
        EXPECT_EQ(probe(m_target, "stream=codec_name"), "aac") << name;
        std::filesystem::remove(m_target);
    }
    EXPECT_GE(converted, 30);
}

// ---- Export

TEST_F(MP4ExporterRealTest, ExportsPicturesAndSound)
{
    std::string source = movie("a.mov", "-c:v libx264 -g 10 -bf 2 -c:a aac");
    EXPECT_EQ(exportMovie(source, m_target), 0);
    EXPECT_EQ(hashes(source), hashes(m_target));
    EXPECT_EQ(probe(m_target, "format_tags=major_brand"), "mp42");
    EXPECT_NEAR(std::stod(probe(m_target, "format=duration")), std::stod(probe(source, "format=duration")), 0.05);
    EXPECT_EQ(m_delegate.percents.front(), 1);
    EXPECT_EQ(m_delegate.percents.back(), 100);
    EXPECT_TRUE(std::is_sorted(m_delegate.percents.begin(), m_delegate.percents.end()));
    EXPECT_EQ(outputOf("ffmpeg -v error -i " + shell(m_target) + " -f null - 2>&1"), "") << "it plays";
    EXPECT_THAT(filesIn(m_scratch.path()), UnorderedElementsAre("a.mov", "out.m4a"));
}

TEST_F(MP4ExporterRealTest, ExportsManyCodecsFromManyContainers)
{
    struct Row {
        const char* name;
        const char* options;
        bool hinted;
        bool rewritten = false; ///< the same pictures, but their packets take another form in the new container
    };
    const std::vector<Row> rows {
        { "h264.mkv", "-c:v libx264 -bf 2 -c:a libmp3lame", true },
        { "h264.avi", "-c:v libx264 -bf 2 -c:a libmp3lame", true, true },
        { "mpeg4.avi", "-c:v mpeg4 -bf 2 -c:a libmp3lame", true },
        { "mpeg4.mp4", "-c:v mpeg4 -c:a aac", true },
        { "h264.flv", "-c:v libx264 -c:a aac", true },
        { "hevc.mp4", "-c:v libx265 -x265-params log-level=none -c:a aac", false }, // hints would double the file
        { "alac.mov", "-c:v libx264 -c:a alac", false }, // no payload format for the sound
        { "vp9.webm", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus", true },
        { "sound.m4a", "-map 1 -c:a aac", true },
        { "silent.mov", "-map 0 -c:v libx264", true },
    };
    for (const Row& row : rows) {
        std::string source = movie(row.name, row.options);
        EXPECT_EQ(exportMovie(source, m_target), 0) << row.name;
        auto compared = row.rewritten ? pictures : hashes;
        EXPECT_EQ(compared(source), compared(m_target)) << row.name;
        EXPECT_EQ(probe(m_target, "format_tags=major_brand"), "mp42") << row.name;
        Bytes made = readFile(m_target);
        BoxTree boxes = readBoxes(made);
        bool hinted = false;
        for (const BoxTree* track : boxes.at("moov").all("trak"))
            hinted = hinted || charsOf(track->at("mdia/hdlr").content.subspan(8, 4)) == "hint";
        EXPECT_EQ(hinted, row.hinted) << row.name;
    }
}

// Sums up what one packet of a hint sample sends; every piece must lie inside what it is taken from.
std::size_t packetBytes(ByteReader& reader, const BoxTree& mediaSizes)
{
    constexpr std::size_t RtpHeader = 12;
    reader.skip(8); // time, header bits, sequence number
    std::uint16_t flags = reader.u16be();
    std::uint16_t entries = reader.u16be();
    if (flags & 4) { // extra information
        std::uint32_t extra = reader.u32be();
        reader.skip(extra - 4);
    }
    std::size_t bytes = RtpHeader;
    for (std::uint16_t i = 0; i < entries; ++i) {
        ByteReader entry(reader.take(16));
        switch (entry.u8()) {
        case 1: { // immediate
            std::size_t count = entry.u8();
            EXPECT_LE(count, 14u);
            bytes += count;
            break;
        }
        case 2: { // from a sample of the media
            std::uint8_t track = entry.u8();
            std::size_t length = entry.u16be();
            std::uint32_t sample = entry.u32be();
            std::uint32_t offset = entry.u32be();
            if (track == 0) {
                EXPECT_GE(sample, 1u);
                EXPECT_LE(sample, mediaSizes.u32(8));
                std::uint32_t same = mediaSizes.u32(4);
                std::uint32_t size = same ? same : mediaSizes.u32(12 + 4 * (std::size_t { sample } - 1));
                EXPECT_LE(offset + length, size);
            }
            bytes += length;
            break;
        }
        default:
            ADD_FAILURE() << "another kind of entry";
        }
    }
    EXPECT_FALSE(reader.failed());
    return bytes;
}

// Walks the samples of a track through its chunks; all of our exports list their sizes one by one.
std::vector<ByteView> samplesOf(const BoxTree& track, ByteView file)
{
    const BoxTree& table = track.at("mdia/minf/stbl");
    const BoxTree& sizes = table.at("stsz");
    const BoxTree& runs = table.at("stsc");
    const BoxTree& offsets = table.at("stco");
    std::vector<ByteView> samples;
    std::size_t sample = 0;
    for (std::uint32_t chunk = 1, run = 0; chunk <= offsets.u32(4); ++chunk) {
        while (run + 1 < runs.u32(4) && runs.u32(8 + 12 * (std::size_t { run } + 1)) <= chunk)
            ++run;
        std::size_t at = offsets.u32(8 + 4 * (std::size_t { chunk } - 1));
        for (std::uint32_t i = 0; i < runs.u32(12 + 12 * std::size_t { run }); ++i, ++sample) {
            std::uint32_t size = sizes.u32(4) ? sizes.u32(4) : sizes.u32(12 + 4 * sample);
            samples.push_back(file.subspan(at, size));
            at += size;
        }
    }
    EXPECT_EQ(samples.size(), sizes.u32(8));
    return samples;
}

TEST_F(MP4ExporterRealTest, HintTracksBoxByBox)
{
    std::string source = movie("a.mov", "-c:v libx264 -g 10 -crf 1 -c:a aac -b:a 256k");
    ASSERT_EQ(exportMovie(source, m_target), 0);
    Bytes made = readFile(m_target);
    BoxTree boxes = readBoxes(made);
    auto tracks = boxes.at("moov").all("trak");
    ASSERT_EQ(tracks.size(), 4u) << "pictures, sound, and hints for both";
    for (std::size_t i = 0; i < 2; ++i) {
        const BoxTree& media = *tracks[i];
        const BoxTree& hints = *tracks[i + 2];
        EXPECT_EQ(charsOf(hints.at("mdia/hdlr").content.subspan(8, 4)), "hint");
        EXPECT_TRUE(hints.has("mdia/minf/hmhd"));
        EXPECT_EQ(hints.at("tref/hint").u32(0), media.at("tkhd").u32(12)) << "refers to its track";

        const BoxTree& description = hints.at("mdia/minf/stbl/stsd");
        EXPECT_EQ(description.u32(4), 1u);
        EXPECT_EQ(charsOf(description.content.subspan(12, 4)), "rtp ");
        EXPECT_EQ(description.u16(24), 1u) << "version of the hints";
        std::uint32_t largest = description.u32(28);
        EXPECT_GT(largest, 0u);
        EXPECT_LE(largest, 1450u);
        EXPECT_EQ(charsOf(description.content.subspan(36, 4)), "tims");
        EXPECT_EQ(description.u32(40), i == 0 ? 90000u : 44100u);

        std::string sdp(charsOf(hints.at("udta/hnti/sdp ").content));
        EXPECT_THAT(sdp, testing::HasSubstr(i == 0 ? "m=video 0 RTP/AVP" : "m=audio 0 RTP/AVP"));
        EXPECT_THAT(sdp, testing::HasSubstr(i == 0 ? "H264/90000" : "MPEG4-GENERIC/44100"));

        std::size_t packets = 0;
        for (ByteView sample : samplesOf(hints, made)) {
            ByteReader reader(sample);
            std::uint16_t count = reader.u16be();
            reader.u16be();
            packets += count;
            for (std::uint16_t packet = 0; packet < count; ++packet)
                EXPECT_LE(packetBytes(reader, media.at("mdia/minf/stbl/stsz")), 1450u);
        }
        EXPECT_GT(packets, 10u);
    }
}

TEST_F(MP4ExporterRealTest, WhatAnMpeg4FileCannotHoldIsRefused)
{
    struct Row {
        const char* name;
        const char* options;
    };
    for (const Row& row :
        { Row { "prores.mov", "-c:v prores -c:a aac" }, Row { "pcm.mov", "-c:v libx264 -c:a pcm_s16le" },
            Row { "mp3.wav", "-map 1" }, Row { "msmpeg4.avi", "-c:v msmpeg4 -c:a libmp3lame" } }) {
        m_delegate.percents.clear();
        EXPECT_EQ(exportMovie(movie(row.name, row.options), m_target), -2089) << row.name;
        EXPECT_FALSE(std::filesystem::exists(m_target)) << row.name;
        EXPECT_THAT(m_delegate.percents, testing::Not(testing::Contains(100))) << row.name;
    }
    EXPECT_EQ(filesIn(m_scratch.path()).size(), 4u) << "nothing but the sources";
}

TEST_F(MP4ExporterRealTest, TelephoneSoundIsHeld)
{
    MV_NEEDS_CORPUS();
    std::string source = corpusFile("mp4/bbb_mono_8kHz_12.2kbps_amrnb.3gp");
    EXPECT_EQ(exportMovie(source, m_target), 0);
    EXPECT_EQ(hashes(source), hashes(m_target));
    EXPECT_EQ(probe(m_target, "format_tags=major_brand"), "mp42");
}

TEST_F(MP4ExporterRealTest, TurnedMoviesStayTurned)
{
    MV_NEEDS_CORPUS();
    std::string source = corpusFile("video/sample_portrait.mp4");
    ASSERT_EQ(exportMovie(source, m_target), 0);
    EXPECT_EQ(probe(m_target, "stream_side_data=rotation"), probe(source, "stream_side_data=rotation"));
}

TEST_F(MP4ExporterRealTest, CoversAndTextsAreLeftOut)
{
    std::string cover = make("c.png", "-f lavfi -i color=red:s=32x32 -frames:v 1");
    std::string source = make("a.m4a",
        "-f lavfi -i sine=d=1 -i " + shell(cover) + " -map 0 -map 1 -c:a aac -c:v png -disposition:v:0 attached_pic");
    ASSERT_EQ(exportMovie(source, m_target), 0);
    EXPECT_THAT(hashes(source), testing::StartsWith("0,a,"));
    EXPECT_EQ(hashes(m_target), hashes(source));
}

TEST_F(MP4ExporterRealTest, WhatIsNoMovie)
{
    m_scratch.write("out.m4a", "older");
    EXPECT_EQ(exportMovie(m_scratch.write("a.mov", "no movie at all"), m_target), -2048);
    EXPECT_FALSE(std::filesystem::exists(m_target));
    EXPECT_EQ(exportMovie(m_scratch.file("missing"), m_target), -50);
}

TEST_F(MP4ExporterRealTest, ACancelledExportLeavesNothing)
{
    std::string source = movie("a.mov", "-c:v libx264 -c:a aac");
    m_delegate.refuseAt = 20;
    EXPECT_EQ(exportMovie(source, m_target), -128);
    EXPECT_EQ(m_delegate.percents.size(), 20u);
    EXPECT_THAT(filesIn(m_scratch.path()), ElementsAre("a.mov"));
}

TEST_F(MP4ExporterRealTest, ACutSourceIsNoSuccess)
{
    std::string source = movie("a.mp4", "-c:v libx264 -c:a aac -movflags faststart");
    Bytes whole = readFile(source);
    for (std::size_t percent : { 40, 60, 80, 95 }) {
        std::string cut = m_scratch.write("cut.mp4", ByteView(whole).first(whole.size() * percent / 100));
        EXPECT_EQ(exportMovie(cut, m_target), -2010) << percent;
        EXPECT_FALSE(std::filesystem::exists(m_target)) << percent;
    }
}

TEST_F(MP4ExporterRealTest, AFullDiskLeavesNoHalfExport)
{
    std::string source = movie("a.mov", "-c:v libx264 -crf 1 -c:a aac");
    ASSERT_EQ(exportMovie(source, m_target), 0);
    auto whole = std::filesystem::file_size(m_target);
    struct rlimit old { };
    getrlimit(RLIMIT_FSIZE, &old);
    auto before = signal(SIGXFSZ, SIG_IGN);
    for (unsigned tenth = 0; tenth < 10; ++tenth) {
        struct rlimit limit {
            whole *tenth / 10, old.rlim_max
        };
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &limit), 0);
        std::int32_t status = exportMovie(source, m_target);
        ASSERT_EQ(setrlimit(RLIMIT_FSIZE, &old), 0);
        EXPECT_EQ(status, -34) << tenth;
        EXPECT_FALSE(std::filesystem::exists(m_target)) << tenth;
    }
    signal(SIGXFSZ, before);
    EXPECT_THAT(filesIn(m_scratch.path()), ElementsAre("a.mov"));
}

// The export slows down in its delegate, so that the kill comes at every stage of it.
TEST_F(MP4ExporterRealTest, AKilledExportLeavesNothing)
{
    std::string source = movie("a.mov", "-c:v libx264 -c:a aac");
    Bytes before = readFile(source);
    for (int milliseconds = 5; milliseconds < 100; milliseconds += 10) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            class Slow final : public MVMP4ExporterDelegate {
                bool MP4ExporterProgress(std::int32_t) override { return usleep(1000) == 0; }
            } slow;
            m_exporter.exportWithDelegateFromPathToMp4Path(&slow, source, m_target);
            _exit(0);
        }
        usleep(static_cast<useconds_t>(milliseconds) * 1000);
        kill(child, SIGKILL);
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        if (std::filesystem::exists(m_target)) {
            EXPECT_EQ(hashes(m_target), hashes(source)) << "there, so whole";
            std::filesystem::remove(m_target);
        }
        EXPECT_THAT(filesIn(m_scratch.path()), ElementsAre("a.mov")) << milliseconds;
    }
    EXPECT_EQ(readFile(source), before);
}

TEST_F(MP4ExporterRealTest, CorpusMoviesAreExportedOrRefused)
{
    MV_NEEDS_CORPUS();
    int exported = 0;
    for (const char* folder : { "video", "mp4", "bad" }) {
        for (const std::string& name : corpusFiles(folder)) {
            std::int32_t status = exportMovie(corpusFile(name), m_target);
            EXPECT_EQ(status == 0, std::filesystem::exists(m_target)) << name << " " << status;
            if (status != 0)
                continue;
            ++exported;
            EXPECT_EQ(run("ffprobe -v error " + shell(m_target)), 0) << name;
            std::filesystem::remove(m_target);
        }
    }
    EXPECT_GE(exported, 50);
}

// ---- Apple Lossless

TEST_F(MP4ExporterRealTest, FindsAlac)
{
    EXPECT_TRUE(m_exporter.isAlacAudio(tone("a.m4a", "1", "-c:a alac")));
    EXPECT_TRUE(m_exporter.isAlacAudio(movie("a.mov", "-c:v libx264 -c:a alac")));
    EXPECT_FALSE(m_exporter.isAlacAudio(tone("b.m4a", "1", "-c:a aac")));
    EXPECT_FALSE(m_exporter.isAlacAudio(tone("c.wav", "1")));
    EXPECT_FALSE(m_exporter.isAlacAudio(m_scratch.write("d.m4a", "alac")));
    EXPECT_FALSE(m_exporter.isAlacAudio(m_scratch.path()));
    EXPECT_FALSE(m_exporter.isAlacAudio(m_scratch.file("none")));
    EXPECT_TRUE(m_log.lines().empty());
}

} // namespace
} // namespace mv::test
