// Export of real files, judged by other programs.
#include "tests/service/transcode/RealExporter.h"

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

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

TEST_F(MP4ExporterRealTest, AMovieThatIsCutUnderWayIsNoSuccess)
{
    std::string source = make("a.mov", "-f lavfi -i testsrc2=d=20:s=640x480:r=25 -c:v libx264 -preset ultrafast -qp 4");
    m_delegate.whenUnderWay = [&] { std::filesystem::resize_file(source, std::filesystem::file_size(source) / 2); };
    EXPECT_EQ(exportMovie(source, m_target), -36);
    EXPECT_THAT(m_delegate.percents, testing::Not(testing::Contains(100)));
    EXPECT_FALSE(std::filesystem::exists(m_target));
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
    EXPECT_EQ(exportMovie(m_scratch.write("empty.mov", ""), m_target), -2048);
    EXPECT_EQ(exportMovie(m_scratch.file("missing"), m_target), -50);
    EXPECT_EQ(charsOf(readFile(m_target)), "older");
}

TEST_F(MP4ExporterRealTest, AMovieWithoutASampleIsNoSuccess)
{
    // The tables of a fragmented movie are empty; without its fragments nothing is left.
    std::string source = movie("a.mp4", "-c:v libx264 -c:a aac -movflags empty_moov+frag_keyframe");
    Bytes whole = readFile(source);
    std::size_t fragments = charsOf(whole).find("moof") - 4;
    source = m_scratch.write("first.mp4", ByteView(whole).first(fragments));
    EXPECT_EQ(exportMovie(source, m_target), -2010);
    EXPECT_FALSE(std::filesystem::exists(m_target));
}

// The last packet of a track is where it ends, and the container does not always tell how long it is.
TEST_F(MP4ExporterRealTest, OpusKeepsItsLastPacket)
{
    struct Row {
        const char* name;
        const char* options;
    };
    for (const Row& row : { Row { "plain.mp4", "" }, Row { "late.mp4", "-output_ts_offset 5" },
             Row { "fragments.mp4", "-frag_duration 200000 -movflags empty_moov" }, Row { "a.webm", "" },
             Row { "a.opus", "" } }) {
        std::string source = tone(row.name, "1.02", std::string("-c:a libopus ") + row.options);
        ASSERT_EQ(exportMovie(source, m_target), 0) << row.name;
        EXPECT_EQ(hashes(m_target), hashes(source)) << row.name;
        Bytes made = readFile(m_target);
        std::size_t samples = readBoxes(made).at("moov/trak/mdia/minf/stbl/stsz").u32(8);
        std::string packets
            = "ffprobe -v error -select_streams a -show_entries packet=pts -of csv=p=0 " + shell(m_target);
        EXPECT_EQ(std::stoul(outputOf(packets + " | grep -c .")), samples) << row.name << ": none behind the edit list";
        EXPECT_NEAR(std::stod(probe(m_target, "stream=duration")), 1.03, 0.02) << row.name;
    }
}

TEST_F(MP4ExporterRealTest, Vp9OfAnMpeg4FileStaysReadable)
{
    std::string source = movie("a.mp4", "-c:v libvpx-vp9 -deadline realtime -cpu-used 8 -c:a libopus");
    ASSERT_EQ(exportMovie(source, m_target), 0);
    EXPECT_EQ(hashes(source), hashes(m_target));
    EXPECT_EQ(outputOf("ffmpeg -v error -i " + shell(m_target) + " -f null - 2>&1"), "") << "it plays";
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

/// Dies in the call of that number, from 1 on.
class Suicidal final : public MVMP4ExporterDelegate {
public:
    explicit Suicidal(int call)
        : m_left(call)
    {
    }
    bool MP4ExporterProgress(std::int32_t) override { return --m_left > 0 || raise(SIGKILL) == 0; }

private:
    int m_left;
};

TEST_F(MP4ExporterRealTest, AnExportThatIsKilledAtAnyOfItsPercentsLeavesNothing)
{
    std::string source = movie("a.mov", "-c:v libx264 -c:a aac");
    Bytes before = readFile(source);
    ASSERT_EQ(exportMovie(source, m_target), 0);
    auto calls = static_cast<int>(m_delegate.percents.size());
    ASSERT_GT(calls, 20);
    std::filesystem::remove(m_target);
    for (int call : { 1, 2, 3, calls / 4, calls / 2, calls - 2, calls - 1, calls }) {
        pid_t child = fork();
        ASSERT_GE(child, 0);
        if (child == 0) {
            Suicidal delegate(call);
            m_exporter.exportWithDelegateFromPathToMp4Path(
                &delegate, OpenedFile::at(source), OutputPlace::at(m_target));
            _exit(0);
        }
        int status = 0;
        ASSERT_EQ(waitpid(child, &status, 0), child);
        ASSERT_TRUE(WIFSIGNALED(status)) << call;
        // The last call is made when the whole file has its name.
        if (call == calls && std::filesystem::exists(m_target)) {
            EXPECT_EQ(hashes(m_target), hashes(source));
            std::filesystem::remove(m_target);
        }
        EXPECT_THAT(filesIn(m_scratch.path()), ElementsAre("a.mov")) << call << " of " << calls;
    }
    EXPECT_EQ(readFile(source), before);
}

struct CorpusPart {
    const char* folder;
    std::size_t part, parts;
    int exported; ///< at least
};

class CorpusExport : public MP4ExporterRealTest, public testing::WithParamInterface<CorpusPart> { };

INSTANTIATE_TEST_SUITE_P(Parts, CorpusExport,
    testing::Values(CorpusPart { "video", 0, 2, 15 }, CorpusPart { "video", 1, 2, 15 }, CorpusPart { "mp4", 0, 2, 10 },
        CorpusPart { "mp4", 1, 2, 10 }, CorpusPart { "bad", 0, 1, 0 }),
    [](const auto& test) { return test.param.folder + std::to_string(test.param.part); });

TEST_P(CorpusExport, MoviesAreExportedOrRefused)
{
    MV_NEEDS_CORPUS();
    int exported = 0;
    for (const std::string& name : corpusFiles(GetParam().folder, GetParam().part, GetParam().parts)) {
        std::int32_t status = exportMovie(corpusFile(name), m_target);
        EXPECT_EQ(status == 0, std::filesystem::exists(m_target)) << name << " " << status;
        if (status != 0)
            continue;
        ++exported;
        EXPECT_EQ(run("ffprobe -v error " + shell(m_target)), 0) << name;
        std::filesystem::remove(m_target);
    }
    EXPECT_GE(exported, GetParam().exported);
}

// ---- Apple Lossless

TEST_F(MP4ExporterRealTest, FindsAlac)
{
    EXPECT_TRUE(isAlac(tone("a.m4a", "1", "-c:a alac")));
    EXPECT_TRUE(isAlac(movie("a.mov", "-c:v libx264 -c:a alac")));
    EXPECT_FALSE(isAlac(tone("b.m4a", "1", "-c:a aac")));
    EXPECT_FALSE(isAlac(tone("c.wav", "1")));
    EXPECT_FALSE(isAlac(m_scratch.write("d.m4a", "alac")));
    EXPECT_FALSE(isAlac(m_scratch.path()));
    EXPECT_FALSE(isAlac(m_scratch.file("none")));
    EXPECT_TRUE(m_log.lines().empty());
}

} // namespace
} // namespace mv::test
