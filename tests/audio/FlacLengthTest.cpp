#include "tests/platform/BASSFixture.h"

namespace mv::test {
namespace {

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
        bytes.resize(bytes.size() + size);
        return bytes;
    };
    Bytes content = tag(200'000, false);
    Bytes claims = tag(300, true);
    Bytes footer = { '3', 'D', 'I', 4, 0, 0x10, 0, 0, 2, 44 };
    Bytes audio = flacHeader(48000, 1, 48000);
    for (const Bytes& part : { claims, footer, claims, audio })
        content.insert(content.end(), part.begin(), part.end());
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
    outputOf("cd " + mv::test::shellQuoted(m_scratch.path()) + " && flac --totally-silent -a -f a.flac");
    std::istringstream analysis(outputOf("grep -o 'offset=[0-9]*' " + mv::test::shellQuoted(m_scratch.file("a.ana"))));
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

} // namespace
} // namespace mv::test
