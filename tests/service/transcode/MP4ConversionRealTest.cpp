// Conversion of real files, judged by other programs.
#include "tests/service/transcode/RealExporter.h"

namespace mv::test {
namespace {

using testing::ElementsAre;
using testing::Not;
using testing::UnorderedElementsAre;

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

TEST_F(MP4ExporterRealTest, ASourceWhoseMediaWereCutIsNoSuccess)
{
    m_scratch.write("out.m4a", "older");
    std::string source = tone("a.m4a", "3", "-c:a aac -movflags faststart -metadata title=Tune");
    Bytes whole = readFile(source);
    std::size_t media = charsOf(whole).find("mdat") + 4;
    for (std::size_t left : { media, media + 100, whole.size() - 1 }) {
        std::string cut = m_scratch.write("cut.m4a", ByteView(whole).first(left));
        EXPECT_EQ(convert(cut, m_target), 0x6474613F) << left; // 'dta?'
    }
    Bytes wave = readFile(tone("a.wav", "1"));
    std::string cut = m_scratch.write("cut.wav", ByteView(wave).first(charsOf(wave).find("data") + 8));
    EXPECT_EQ(convert(cut, m_target), 0x6474613F);
    EXPECT_TRUE(m_delegate.percents.empty());
    EXPECT_EQ(charsOf(readFile(m_target)), "older");
}

TEST_F(MP4ExporterRealTest, ASourceThatIsCutUnderWayIsNoSuccess)
{
    for (const char* name : { "a.wav", "a.flac", "a.m4a" }) {
        std::string source = tone(name, "60");
        m_delegate.percents.clear();
        m_delegate.whenUnderWay = [&] { std::filesystem::resize_file(source, 20'000); };
        EXPECT_EQ(convert(source, m_target), -36) << name;
        EXPECT_THAT(m_delegate.percents, Not(testing::Contains(100))) << name;
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
    auto record = MP4Parser {}.build(OpenedFile::at(m_target));
    ASSERT_TRUE(record.has_value());
    ASSERT_TRUE(record->find(MediaDBMusicColumnPlayLength));
    EXPECT_NEAR(*record->find(MediaDBMusicColumnPlayLength)->real(), 3.0, 0.1);
}

TEST_F(MP4ExporterRealTest, M4aSourcesKeepTheirTagsAsItems)
{
    std::string source = tone("a.m4a", "3", "-c:a alac -metadata title=Tune -metadata artist=Ann -metadata track=3/9");
    ASSERT_EQ(convert(source, m_target), 0);
    auto record = MP4Parser {}.build(OpenedFile::at(m_target));
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
    EXPECT_EQ(*MP4Parser {}.build(OpenedFile::at(m_target))->string(MediaDBMusicColumnTitle), "Tune");
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
    std::string source = tone("a.wav", "8", "-ac 2");
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

constexpr std::size_t CorpusParts = 3;

class CorpusConversion : public MP4ExporterRealTest, public testing::WithParamInterface<std::size_t> { };

INSTANTIATE_TEST_SUITE_P(Parts, CorpusConversion, testing::Range(std::size_t { 0 }, CorpusParts));

TEST_P(CorpusConversion, IsDoneOrRefusedWithACode)
{
    MV_NEEDS_CORPUS();
    int converted = 0;
    for (const std::string& name : corpusFiles("audio", GetParam(), CorpusParts)) {
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
    EXPECT_GE(converted, 10);
}

} // namespace
} // namespace mv::test
