#include "tests/platform/BASSFixture.h"

namespace mv::test {
namespace {

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
        + mv::test::shellQuoted(path));
    EXPECT_NEAR(ogg(path).seconds, 2.0, 0.01);
}

} // namespace
} // namespace mv::test
