#include "service/transcode/AacEncodingJob.h"

#include "service/transcode/MP4ExporterImpl.h"
#include "tests/service/transcode/MadeSound.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

constexpr int Rate = 8000; // for short work
constexpr std::size_t Chunk = std::size_t { 256 } * 1024;

/// Hears of progress, and ends a job at some percent.
class Witness final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t percent) override
    {
        EXPECT_GT(percent, last);
        last = percent;
        return percent < stopAt;
    }
    std::int32_t last = 0;
    std::int32_t stopAt = 1000;
};

class AacEncodingJobTest : public testing::Test {
protected:
    std::string wave(std::size_t samples, std::uint32_t rate = Rate, std::uint16_t channels = 1)
    {
        WaveMaker wave;
        wave.format(1, channels, rate, 8).silence(samples * channels);
        return m_folder.write("in.wav", wave.bytes());
    }
    /// Nothing where it is left to one encoder.
    std::optional<OSStatus> run(const std::string& path, unsigned cores = 3)
    {
        auto source = OpenedFile::at(path);
        AacEncodingJob job(source, 16'000, m_witness);
        EXPECT_EQ(job.open(), noErr);
        if (!job.isForSegments())
            return std::nullopt;
        return job.run(*OutputPlace::at(m_made), cores);
    }
    std::string entries(const std::string& path)
    {
        return outputOf("ffprobe -v error -show_entries stream=duration_ts,nb_frames,start_pts -of default=nk=1:nw=1 "
            + shellQuoted(path));
    }

    ScratchFolder m_folder;
    std::string m_made = m_folder.file("made.m4a");
    Witness m_witness;
};

TEST_F(AacEncodingJobTest, PacketsAndLengthAreThoseOfOneEncoder)
{
    // At, before and behind a border of frames, of chunks, and of what two segments have in common.
    for (std::size_t samples : { 6 * Chunk, 6 * Chunk + 1, 7 * Chunk - 1, 7 * Chunk + 96 * 1024,
             7 * Chunk + 97 * 1024 + 5, 8 * Chunk - 1024, 8 * Chunk + 1023 }) {
        std::string source = wave(samples);
        m_witness.last = 0;
        EXPECT_EQ(run(source), noErr);
        EXPECT_EQ(m_witness.last, 100);
        std::string single = m_folder.file("single.m4a");
        EXPECT_EQ(MP4ExporterImpl().convertToAacWithDelegateFromPathToMp4PathBitrate(
                      nullptr, OpenedFile::at(source), OutputPlace::at(single), 16'000),
            noErr);
        EXPECT_EQ(entries(m_made), entries(single)) << samples;
        EXPECT_NE(entries(m_made).find(std::to_string(samples)), std::string::npos);
    }
}

TEST_F(AacEncodingJobTest, WhatIsLeftToOneEncoder)
{
    EXPECT_EQ(run(wave(6 * Chunk - 1)), std::nullopt); // short
    EXPECT_EQ(run(wave(6 * Chunk, 10'000)), std::nullopt); // resampled
    EXPECT_EQ(run(wave(6 * Chunk, Rate, 3)), std::nullopt); // more channels than are looked at
}

TEST_F(AacEncodingJobTest, ACancelLeavesTheOlderFile)
{
    m_folder.write("made.m4a", "older");
    m_witness.stopAt = 30;
    EXPECT_EQ(run(wave(12 * Chunk)), MVMP4ExporterCancelled);
    EXPECT_LT(m_witness.last, 100);
    EXPECT_EQ(charsOf(readFile(m_made)), "older");
}

TEST_F(AacEncodingJobTest, WhatCannotBeWritten)
{
    m_made = m_folder.file("no/made.m4a");
    EXPECT_EQ(run(wave(6 * Chunk)), fnfErr);
}

} // namespace
} // namespace mv
