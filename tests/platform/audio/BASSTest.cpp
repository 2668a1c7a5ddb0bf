#include "platform/audio/BASS.h"

#include "Base/Core/ByteReader.h"
#include "platform/audio/FlacHeader.h"
#include "platform/audio/OggPage.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <cmath>
#include <fstream>
#include <gtest/gtest.h>
#include <map>
#include <sstream>
#include <sys/stat.h>
#include <thread>

namespace mv::test {
namespace {

// What the process has read so far, the page cache's share included.
std::uint64_t bytesReadByProcess()
{
    std::ifstream io("/proc/self/io");
    std::string name;
    std::uint64_t value = 0;
    io >> name >> value;
    return value;
}

constexpr std::size_t PackedOffset = 18; // rate, channels, depth and total of STREAMINFO

Bytes flacHeader(std::uint32_t rate, std::uint32_t channels, std::uint64_t total)
{
    Bytes out;
    ByteWriter writer(out);
    writer.text("fLaC");
    writer.u8(0x80);
    writer.u24be(FlacStreamInfo::Size);
    writer.u16be(4096);
    writer.u16be(4096);
    writer.zeros(6);
    writer.u64be(
        std::uint64_t { rate } << 44 | std::uint64_t { channels - 1 } << 41 | std::uint64_t { 15 } << 36 | total);
    writer.zeros(16);
    return out;
}

void forgetTotal(Bytes& flac, std::size_t marker = 0)
{
    flac[marker + PackedOffset + 3] &= 0xF0;
    std::fill_n(flac.begin() + static_cast<std::ptrdiff_t>(marker + PackedOffset + 4), 4, std::uint8_t { 0 });
}

// Writes the checksum of the page at the front.
void sealFirstPage(Bytes& file, std::size_t size)
{
    std::fill_n(file.begin() + 22, 4, std::uint8_t { 0 });
    std::uint32_t crc = 0;
    for (std::size_t i = 0; i < size; ++i) {
        crc ^= std::uint32_t { file[i] } << 24;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x80000000 ? crc << 1 ^ 0x04C11DB7 : crc << 1;
    }
    for (std::size_t i = 0; i < 4; ++i)
        file[22 + i] = static_cast<std::uint8_t>(crc >> (8 * i));
}

class BASSTest : public testing::Test {
protected:
    void SetUp() override { BASS_Init(-1, 44100, 0, nullptr, nullptr); }
    void TearDown() override { BASS_Free(); }

    // A tone of so many samples as a FLAC, Vorbis or Opus file.
    std::string make(
        const std::string& name, int samples, int rate, int channels, const std::string& options = "-sample_fmt s16")
    {
        std::string path = m_scratch.file(name);
        outputOf("ffmpeg -v error -f lavfi -i \"anoisesrc=r=" + std::to_string(rate)
            + ":a=0.1:seed=7\" -af atrim=end_sample=" + std::to_string(samples) + " -ac " + std::to_string(channels)
            + " " + options + " -y " + mv::test::quoted(path));
        return path;
    }

    struct Measured {
        std::uint64_t bytes = 0;
        double seconds = 0;
        int error = BASS_OK;
    };
    using Create = HSTREAM (*)(bool, const char*, std::uint64_t, std::uint64_t, std::uint32_t);
    static Measured measure(const std::string& path, Create create)
    {
        HSTREAM stream = create(false, path.c_str(), 0, 0, BASS_STREAM_AUTOFREE);
        if (stream == 0)
            return { 0, 0, BASS_ErrorGetCode() };
        Measured measured;
        measured.bytes = BASS_ChannelGetLength(stream, BASS_POS_BYTE);
        measured.seconds = BASS_ChannelBytes2Seconds(stream, measured.bytes);
        EXPECT_TRUE(BASS_StreamFree(stream));
        return measured;
    }
    static Measured flac(const std::string& path) { return measure(path, BASS_FLAC_StreamCreateFile); }
    static Measured ogg(const std::string& path) { return measure(path, BASS_StreamCreateFile); }

    ScratchFolder m_scratch;
};

TEST_F(BASSTest, NeedsInit)
{
    BASS_Free();
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(false, "/x.flac", 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
    EXPECT_EQ(BASS_StreamCreateFile(false, "/x.ogg", 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
    EXPECT_FALSE(BASS_Free());
    EXPECT_EQ(BASS_ErrorGetCode(), 8);
}

TEST_F(BASSTest, InitWorksOnce)
{
    EXPECT_FALSE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), 14);
    EXPECT_TRUE(BASS_Free());
    EXPECT_TRUE(BASS_Init(-1, 44100, 0, nullptr, nullptr));
    EXPECT_EQ(BASS_ErrorGetCode(), 0);
}

TEST_F(BASSTest, WhatCannotBeOpened)
{
    EXPECT_EQ(flac(m_scratch.file("missing.flac")).error, 2);
    EXPECT_EQ(ogg(m_scratch.file("missing.ogg")).error, 2);
    EXPECT_EQ(flac(m_scratch.path()).error, 2);
    std::string fifo = m_scratch.file("fifo.ogg");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    EXPECT_EQ(ogg(fifo).error, 2);
    EXPECT_EQ(ogg("/dev/zero").error, 2);
}

TEST_F(BASSTest, WhatIsOfNoKnownFormat)
{
    for (std::string_view content :
        { std::string_view {}, std::string_view { "not audio" }, std::string_view { "OggS" } }) {
        std::string path = m_scratch.write("file", content);
        EXPECT_EQ(flac(path).error, 41) << content;
        EXPECT_EQ(ogg(path).error, 41) << content;
    }
    std::string speex = make("video.ogg", 4000, 8000, 1, "-c:a pcm_s16le -f wav");
    EXPECT_EQ(ogg(speex).error, 41);
}

TEST_F(BASSTest, OnlyWholeNamedFiles)
{
    std::string path = m_scratch.write("a.flac", flacHeader(44100, 2, 44100));
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(true, path.c_str(), 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_EQ(BASS_FLAC_StreamCreateFile(false, nullptr, 0, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_EQ(BASS_StreamCreateFile(false, path.c_str(), 1, 0, 0), 0u);
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
}

TEST_F(BASSTest, UnknownHandles)
{
    EXPECT_EQ(BASS_ChannelGetLength(77, BASS_POS_BYTE), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ErrorGetCode(), 5);
    EXPECT_LT(BASS_ChannelBytes2Seconds(77, 4), 0.0);
    EXPECT_FALSE(BASS_StreamFree(77));
    EXPECT_FALSE(BASS_StreamFree(0));
}

TEST_F(BASSTest, HandlesAreTheirOwn)
{
    std::string one = m_scratch.write("1.flac", flacHeader(44100, 2, 100));
    std::string two = m_scratch.write("2.flac", flacHeader(8000, 1, 200));
    HSTREAM first = BASS_FLAC_StreamCreateFile(false, one.c_str(), 0, 0, 0);
    HSTREAM second = BASS_FLAC_StreamCreateFile(false, two.c_str(), 0, 0, 0);
    ASSERT_NE(first, 0u);
    ASSERT_NE(second, 0u);
    EXPECT_NE(first, second);
    EXPECT_EQ(BASS_ChannelGetLength(first, 0), 400u);
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), 400u);
    EXPECT_DOUBLE_EQ(BASS_ChannelBytes2Seconds(second, 400), 0.025);
    EXPECT_EQ(BASS_ChannelGetLength(first, 1), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ErrorGetCode(), 20);
    EXPECT_TRUE(BASS_StreamFree(first));
    EXPECT_EQ(BASS_ChannelGetLength(first, 0), ~std::uint64_t { 0 });
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), 400u);
    BASS_Free();
    EXPECT_EQ(BASS_ChannelGetLength(second, 0), ~std::uint64_t { 0 });
}

TEST_F(BASSTest, ErrorsBelongToTheirThread)
{
    EXPECT_FALSE(BASS_StreamFree(77));
    int elsewhere = -1;
    std::thread([&] { elsewhere = BASS_ErrorGetCode(); }).join();
    EXPECT_EQ(elsewhere, 0);
    EXPECT_EQ(BASS_ErrorGetCode(), 5);
}

TEST_F(BASSTest, FlacHasItsTotalInFront)
{
    Measured measured = flac(m_scratch.write("a.flac", flacHeader(44100, 2, 7938000)));
    EXPECT_EQ(measured.bytes, 7938000u * 4);
    EXPECT_DOUBLE_EQ(measured.seconds, 180.0);
    EXPECT_EQ(ogg(m_scratch.file("a.flac")).bytes, 7938000u * 4) << "a FLAC file under another name";
}

TEST_F(BASSTest, FlacLargestTotal)
{
    std::uint64_t largest = (std::uint64_t { 1 } << 36) - 1;
    EXPECT_EQ(flac(m_scratch.write("a.flac", flacHeader(655350, 8, largest))).bytes, largest * 16);
}

TEST_F(BASSTest, FlacBehindId3Tags)
{
    auto tag = [](std::size_t size, bool footer) {
        Bytes bytes = { 'I', 'D', '3', 4, 0, static_cast<std::uint8_t>(footer ? 0x10 : 0),
            static_cast<std::uint8_t>(size >> 21), static_cast<std::uint8_t>(size >> 14 & 127),
            static_cast<std::uint8_t>(size >> 7 & 127), static_cast<std::uint8_t>(size & 127) };
        bytes.resize(bytes.size() + size + (footer ? 10 : 0));
        return bytes;
    };
    Bytes content = tag(200'000, false);
    Bytes second = tag(300, true);
    Bytes audio = flacHeader(48000, 1, 48000);
    content.insert(content.end(), second.begin(), second.end());
    content.insert(content.end(), audio.begin(), audio.end());
    EXPECT_DOUBLE_EQ(flac(m_scratch.write("a.flac", content)).seconds, 1.0);
    content.resize(content.size() - audio.size());
    EXPECT_EQ(flac(m_scratch.write("cut.flac", content)).error, 41);
}

TEST_F(BASSTest, DamagedFlacHeaders)
{
    Bytes noRate = flacHeader(0, 2, 100);
    EXPECT_EQ(flac(m_scratch.write("a.flac", noRate)).error, 6);
    Bytes otherBlock = flacHeader(44100, 2, 100);
    otherBlock[4] = 0x84;
    EXPECT_EQ(flac(m_scratch.write("b.flac", otherBlock)).error, 6);
    Bytes wrongLength = flacHeader(44100, 2, 100);
    wrongLength[7] = 33;
    EXPECT_EQ(flac(m_scratch.write("c.flac", wrongLength)).error, 6);
    Bytes whole = flacHeader(44100, 2, 100);
    for (std::size_t size = 4; size < whole.size(); ++size)
        EXPECT_EQ(flac(m_scratch.write("d.flac", ByteView(whole).first(size))).error, 6) << size;
}

TEST_F(BASSTest, FlacWithoutTotalIsCountedAtItsEnd)
{
    for (int samples : { 1, 4096, 4097, 50'001 }) {
        Bytes file = readFile(make("a.flac", samples, 44100, 2));
        forgetTotal(file);
        std::string path = m_scratch.write("b.flac", file);
        EXPECT_EQ(flac(path).bytes, static_cast<std::uint64_t>(samples) * 4) << samples;
        file.insert(file.end(), { 'T', 'A', 'G' });
        file.resize(file.size() + 125);
        EXPECT_EQ(flac(m_scratch.write("c.flac", file)).bytes, static_cast<std::uint64_t>(samples) * 4) << samples;
    }
}

TEST_F(BASSTest, EmptyFlacWithoutTotalHasNoLength)
{
    Measured measured = flac(m_scratch.write("a.flac", flacHeader(44100, 2, 0)));
    EXPECT_EQ(measured.error, 0);
    EXPECT_EQ(measured.bytes, 0u);
}

TEST_F(BASSTest, FlacWithoutTotalAndWithoutFramesCannotBeDecoded)
{
    Bytes file = flacHeader(44100, 2, 0);
    file.resize(file.size() + 10'000, 0xFF);
    EXPECT_EQ(flac(m_scratch.write("a.flac", file)).error, 6);
}

TEST_F(BASSTest, CutFlacWithoutTotalHasItsWholeFrames)
{
    std::string path = make("a.flac", 40'960, 44100, 1, "-sample_fmt s16 -frame_size 4096");
    outputOf("cd " + mv::test::quoted(m_scratch.path()) + " && flac --totally-silent -a -f a.flac");
    std::istringstream analysis(outputOf("grep -o 'offset=[0-9]*' " + mv::test::quoted(m_scratch.file("a.ana"))));
    std::vector<std::size_t> starts;
    for (std::string line; std::getline(analysis, line);)
        starts.push_back(std::stoul(line.substr(7)));
    ASSERT_EQ(starts.size(), 10u);
    Bytes file = readFile(path);
    forgetTotal(file);
    for (std::size_t frame = 2; frame < starts.size(); ++frame) {
        for (std::size_t extra : { 0, 1, 9, 1000 }) {
            std::string cut = m_scratch.write("cut.flac", ByteView(file).first(starts[frame] + extra));
            // A first frame cut inside its header leaves nothing that says where the frame before it ends.
            std::uint64_t whole = extra > 0 && extra < 9 ? frame - 1 : frame;
            EXPECT_EQ(flac(cut).bytes, whole * 4096 * 2) << frame << "+" << extra;
        }
    }
}

TEST_F(BASSTest, ChanceHeadersInsideAFrameDoNotCount)
{
    Bytes file = readFile(make("a.flac", 8192, 44100, 1, "-sample_fmt s16 -frame_size 4096"));
    forgetTotal(file);
    // A well-formed header with a far larger frame number, behind the last frame and belonging to none.
    Bytes decoy = { 0xFF, 0xF8, 0xC9, 0x08, 0x7F };
    decoy.push_back(flacCrc8(decoy));
    auto info = FlacStreamInfo::parse(file);
    ASSERT_TRUE(info.ok());
    ASSERT_TRUE(FlacFrameHeader::parse(decoy, *info).has_value());
    file.insert(file.end(), decoy.begin(), decoy.end());
    file.resize(file.size() + 50);
    EXPECT_EQ(flac(m_scratch.write("b.flac", file)).bytes, 8192u * 2);
}

TEST_F(BASSTest, VariableBlocksNumberTheirSamples)
{
    FlacStreamInfo info;
    info.minimumBlock = 16;
    info.sampleRate = 44100;
    info.channels = 2;
    info.bitsPerSample = 16;
    Bytes header = { 0xFF, 0xF9, 0x69, 0x18, 0xC4, 0x80, 0x0F }; // sample 256, 16 samples, two channels
    header.push_back(flacCrc8(header));
    auto parsed = FlacFrameHeader::parse(header, info);
    ASSERT_TRUE(parsed.has_value());
    EXPECT_EQ(parsed->firstSample, 256u);
    EXPECT_EQ(parsed->blockSize, 16u);
    EXPECT_EQ(parsed->endSample(), 272u);
    header[1] = 0xF8;
    header.back() = flacCrc8(ByteView(header).first(7));
    EXPECT_EQ(FlacFrameHeader::parse(header, info)->firstSample, 256u * 16);
    header.back() ^= 1;
    EXPECT_FALSE(FlacFrameHeader::parse(header, info).has_value());
}

TEST_F(BASSTest, LargeFlacCostsWhatASmallOneDoes)
{
    constexpr std::uint64_t Gigabyte = std::uint64_t { 1 } << 30;
    std::string path = m_scratch.write("a.flac", flacHeader(44100, 2, 44100 * 60));
    ASSERT_EQ(truncate(path.c_str(), Gigabyte), 0);
    std::uint64_t before = bytesReadByProcess();
    EXPECT_DOUBLE_EQ(flac(path).seconds, 60.0);
    EXPECT_LT(bytesReadByProcess() - before, 4096u);

    Bytes end = readFile(make("end.flac", 50'000, 44100, 2));
    Bytes header(end.begin(), end.begin() + 42);
    header[4] |= 0x80; // no other metadata
    forgetTotal(header);
    std::ofstream(path, std::ios::binary | std::ios::in)
        .write(reinterpret_cast<const char*>(header.data()), static_cast<std::streamsize>(header.size()));
    std::ofstream tail(path, std::ios::binary | std::ios::app);
    tail.write(reinterpret_cast<const char*>(end.data()), static_cast<std::streamsize>(end.size()));
    tail.close();
    before = bytesReadByProcess();
    EXPECT_EQ(flac(path).bytes, 50'000u * 4);
    EXPECT_LT(bytesReadByProcess() - before, 1u << 20);
}

TEST_F(BASSTest, VorbisIsExact)
{
    for (int channels : { 1, 2 }) {
        Measured measured = ogg(make("a.ogg", 100'001, 44100, channels, "-c:a libvorbis"));
        EXPECT_EQ(measured.error, 0);
        EXPECT_EQ(measured.bytes, 100'001u * 2 * static_cast<unsigned>(channels));
    }
}

TEST_F(BASSTest, ThreeMinutesOfVorbis)
{
    EXPECT_DOUBLE_EQ(ogg(make("a.ogg", 180 * 8000, 8000, 1, "-c:a libvorbis")).seconds, 180.0);
}

TEST_F(BASSTest, ChainedVorbisCountsEveryLink)
{
    Bytes chain = readFile(make("a.ogg", 44100, 44100, 2, "-c:a libvorbis"));
    Bytes second = readFile(make("b.ogg", 88200, 44100, 2, "-c:a libvorbis"));
    chain.insert(chain.end(), second.begin(), second.end());
    EXPECT_DOUBLE_EQ(ogg(m_scratch.write("c.ogg", chain)).seconds, 3.0);
}

TEST_F(BASSTest, ChainedVorbisOfTwoRatesCountsByTime)
{
    Bytes chain = readFile(make("a.ogg", 44100, 44100, 1, "-c:a libvorbis"));
    Bytes second = readFile(make("b.ogg", 2 * 48000, 48000, 1, "-c:a libvorbis"));
    chain.insert(chain.end(), second.begin(), second.end());
    Measured measured = ogg(m_scratch.write("c.ogg", chain));
    EXPECT_DOUBLE_EQ(measured.seconds, 3.0);
    EXPECT_EQ(measured.bytes, 3u * 44100 * 2);
}

TEST_F(BASSTest, TruncatedVorbisIsWhatIsLeft)
{
    std::string path = make("a.ogg", 20 * 44100, 44100, 2, "-c:a libvorbis");
    Bytes file = readFile(path);
    Measured measured = ogg(m_scratch.write("cut.ogg", ByteView(file).first(file.size() / 2)));
    EXPECT_GT(measured.seconds, 8.0);
    EXPECT_LT(measured.seconds, 12.0);
    Bytes headersOnly(file.begin(), file.begin() + 100);
    EXPECT_EQ(ogg(m_scratch.write("headers.ogg", headersOnly)).error, 6);
}

TEST_F(BASSTest, GarbageBehindVorbisDoesNotCount)
{
    Bytes file = readFile(make("a.ogg", 5 * 44100, 44100, 2, "-c:a libvorbis"));
    for (int i = 0; i < 100'000; ++i)
        file.push_back(static_cast<std::uint8_t>(i * 37 >> 3));
    EXPECT_DOUBLE_EQ(ogg(m_scratch.write("b.ogg", file)).seconds, 5.0);
}

TEST_F(BASSTest, OpusInOggIsMeasured)
{
    Measured measured = ogg(make("a.ogg", 100'001, 48000, 2, "-c:a libopus"));
    EXPECT_EQ(measured.error, 0);
    EXPECT_EQ(measured.bytes, 100'001u * 4);
}

TEST_F(BASSTest, FlacInOggIsMeasuredByBoth)
{
    std::string path = make("a.ogg", 100'001, 48000, 2, "-sample_fmt s16 -c:a flac");
    EXPECT_EQ(ogg(path).bytes, 100'001u * 4);
    EXPECT_EQ(flac(path).bytes, 100'001u * 4);
}

// The streaming encoder does not know the total when it writes the header, so the files above are counted at their end.
TEST_F(BASSTest, FlacInOggWithTotalNeedsNoEnd)
{
    Bytes file = readFile(make("a.ogg", 100'001, 48000, 1, "-sample_fmt s16 -c:a flac"));
    auto page = OggPage::parse(file);
    ASSERT_TRUE(page && page->beginsStream);
    auto marker = static_cast<std::size_t>(page->body.data() - file.data()) + 9;
    ASSERT_EQ(FlacStreamInfo::parse(ByteView(file).subspan(marker))->totalFrames, 0u);
    file[marker + PackedOffset + 6] = 0x12;
    file[marker + PackedOffset + 7] = 0x34;
    EXPECT_EQ(ogg(m_scratch.write("damaged.ogg", file)).error, 41) << "the checksum covers the total";
    sealFirstPage(file, page->size);
    EXPECT_EQ(ogg(m_scratch.write("b.ogg", file)).bytes, 0x1234u * 2);
}

TEST_F(BASSTest, VorbisCalledFlacIsNone)
{
    std::string path = make("a.ogg", 44100, 44100, 1, "-c:a libvorbis");
    EXPECT_EQ(flac(path).error, 41);
}

TEST_F(BASSTest, VorbisBesideVideoIsFound)
{
    std::string path = m_scratch.file("v.ogg");
    outputOf("ffmpeg -v error -f lavfi -i testsrc=d=2:s=64x64 -f lavfi -i sine=d=2:r=44100 -c:v libtheora -c:a "
             "libvorbis -f ogg -y "
        + mv::test::quoted(path));
    EXPECT_NEAR(ogg(path).seconds, 2.0, 0.01);
}

TEST_F(BASSTest, CorpusLengths)
{
    MV_NEEDS_CORPUS();
    std::map<std::string, double> stated;
    for (const ExpectedRow& row : corpusExpectations()) {
        if (row.key == "duration_s")
            stated[row.file] = std::stod(row.value);
        if (row.key == "duration_us")
            stated[row.file] = std::stod(row.value) / 1e6;
    }
    int compared = 0;
    for (const std::string& name : corpusFiles("audio")) {
        bool isFlac = name.ends_with(".flac");
        if (!isFlac && !name.ends_with(".ogg") && !name.ends_with(".opus"))
            continue;
        Measured measured = isFlac ? flac(corpusFile(name)) : ogg(corpusFile(name));
        EXPECT_EQ(measured.error, 0) << name;
        if (stated.contains(name)) {
            EXPECT_NEAR(measured.seconds, stated[name], 0.02) << name;
            ++compared;
        }
    }
    EXPECT_GE(compared, 8);
}

TEST_F(BASSTest, EveryBadFileOfTheCorpusEndsInAnAnswer)
{
    MV_NEEDS_CORPUS();
    for (const std::string& name : corpusFiles("bad")) {
        Measured asFlac = flac(corpusFile(name));
        Measured asOgg = ogg(corpusFile(name));
        if (!name.ends_with(".flac")) {
            EXPECT_EQ(asFlac.error, 41) << name;
            EXPECT_EQ(asOgg.error, 41) << name;
        }
    }
    EXPECT_EQ(flac(corpusFile("bad/06 - missing streaminfo metadata block.flac")).error, 6);
    EXPECT_EQ(flac(corpusFile("bad/11 - incorrect metadata block length.flac")).error, 0);
    EXPECT_NEAR(flac(corpusFile("bad/106-short-picture-block-size.flac")).seconds, 3.6847, 0.001);
}

} // namespace
} // namespace mv::test
