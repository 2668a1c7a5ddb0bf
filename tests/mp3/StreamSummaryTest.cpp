#include "mp3/StreamSummary.h"

#include "mp3/FrameStream.h"
#include "tests/support/Scratch.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

constexpr std::size_t TableSize = 417;
constexpr std::size_t Mark = 36;

/// A file as the lame program makes it.
class StreamSummaryTest : public testing::TestWithParam<const char*> {
protected:
    void SetUp() override
    {
        if (!haveProgram("ffmpeg") || !haveProgram("lame"))
            GTEST_SKIP() << "ffmpeg or lame is not installed";
        std::string wave = shellQuoted(m_folder.file("a.wav"));
        std::string song = m_folder.file("a.mp3");
        ASSERT_EQ(run("ffmpeg -v error -f lavfi -i \"aevalsrc='0.4*sin(440*2*PI*t*(1+t/9))*sin(t)|0.1*random(0)*t/9'"
                      ":s=44100:d=9\" "
                      + wave),
            0);
        ASSERT_EQ(
            run(std::string("lame --quiet --noreplaygain ") + GetParam() + " " + wave + " " + shellQuoted(song)), 0);
        m_bytes = readFile(song);
        auto header = MpegHeader::parse(m_bytes);
        ASSERT_TRUE(header && header->frameSize() < m_bytes.size());
        m_table.assign(m_bytes.begin(), m_bytes.begin() + static_cast<std::ptrdiff_t>(header->frameSize()));
        ASSERT_TRUE(m_stream.append(ByteView(m_bytes).subspan(m_table.size())));
        for (std::size_t i = 0; i < m_stream.end(); ++i)
            m_summary.add(m_stream.bytes(i));
    }

    ScratchFolder m_folder;
    Bytes m_bytes;
    Bytes m_table;
    Mp3FrameStream m_stream { 0 };
    Mp3StreamSummary m_summary;
};

INSTANTIATE_TEST_SUITE_P(Rates, StreamSummaryTest, testing::Values("-b 128", "-b 320", "-V 4"),
    [](const auto& row) { return std::string(row.param).substr(1, 1) + std::string(row.param).substr(3); });

TEST_P(StreamSummaryTest, SaysTheSameAsTheEncoderOfTheWhole)
{
    Bytes made = m_table;
    // What is to be found out, and what the last check sum is of.
    for (std::size_t i : { 8, 12, 148 })
        std::fill_n(made.begin() + static_cast<std::ptrdiff_t>(Mark + i), 4, std::uint8_t { 0 });
    std::fill_n(made.begin() + Mark + 152, 4, std::uint8_t { 0 });
    ASSERT_TRUE(m_summary.describeIn(made));
    for (std::size_t i = 0; i < 100; ++i) {
        // Its own places are a frame off here and there.
        EXPECT_NEAR(made[Mark + 16 + i], m_table[Mark + 16 + i], 3) << i;
        made[Mark + 16 + i] = m_table[Mark + 16 + i];
    }
    // With the same places everything else is the same, but for the sum over them.
    Bytes expected = m_table;
    std::fill_n(expected.begin() + Mark + 154, 2, std::uint8_t { 0 });
    std::fill_n(made.begin() + Mark + 154, 2, std::uint8_t { 0 });
    EXPECT_EQ(made, expected);
}

TEST_P(StreamSummaryTest, PlacesToSeekAreWhereTheFramesAre)
{
    Bytes made = m_table;
    ASSERT_TRUE(m_summary.describeIn(made));
    std::size_t frames = m_stream.end();
    for (std::size_t i = 1; i < 100; ++i) {
        std::size_t place = m_table.size();
        for (std::size_t frame = 0; frame < i * frames / 100; ++frame)
            place += m_stream.bytes(frame).size();
        EXPECT_NEAR(made[Mark + 16 + i], 256.0 * static_cast<double>(place) / static_cast<double>(m_bytes.size()), 2)
            << i;
    }
}

TEST(StreamSummary, ALongStreamKeepsItsPlaces)
{
    Mp3StreamSummary summary;
    Bytes frame(100);
    for (int i = 0; i < 50'000; ++i)
        summary.add(frame);
    Bytes table(TableSize);
    std::copy_n("Info", 4, table.begin() + Mark);
    table[Mark + 7] = 0x0f;
    ASSERT_TRUE(summary.describeIn(table));
    for (std::size_t i = 1; i < 100; ++i)
        EXPECT_NEAR(table[Mark + 16 + i], 2.56 * static_cast<double>(i), 1.1);
}

TEST(StreamSummary, AFrameWithoutATableStaysAsItIs)
{
    Mp3StreamSummary summary;
    summary.add(Bytes(100));
    Bytes frame(TableSize);
    EXPECT_FALSE(summary.describeIn(frame));
    EXPECT_EQ(frame, Bytes(TableSize));
    // Cut within the table.
    std::copy_n("Xing", 4, frame.begin() + Mark);
    frame[Mark + 7] = 0x0f;
    frame.resize(Mark + 155);
    EXPECT_FALSE(summary.describeIn(frame));
}

} // namespace
} // namespace mv
