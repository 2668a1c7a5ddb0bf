#include "service/include/MVAudioEncoderBase.h"
#include "service/transcode/Mp3EncodingJob.h"
#include "tests/service/transcode/Traces.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <cmath>
#include <gtest/gtest.h>
#include <iostream>
#include <sstream>

// Joints in real sound, beside what one encoder makes of it.

namespace mv {
namespace {

using namespace test;

constexpr int Rate = 44'100;
constexpr std::size_t Length = 47 * Rate + 321;
constexpr unsigned Cores = 2;
constexpr std::size_t Window = Rate / 50;

class Silent final : public EncodingListener {
public:
    void started() override { }
    bool shouldStop() override { return false; }
    void progress(float) override { }
    void failed(std::int32_t) override { }
    void ended() override { }
};

/// The first of the frames at which each joint can be.
std::vector<std::size_t> firstFramesOfJoints()
{
    const SegmentShape shape = Mp3Segments::shape(1152);
    SegmentPlan plan(Cores, Length, shape);
    std::vector<std::size_t> frames;
    std::size_t chunk = 0;
    for (std::size_t number = 0;; ++number) {
        chunk += plan.chunks(number);
        std::size_t frame = chunk * shape.chunkFrames;
        if ((frame + 44) * 1152 > Length)
            return frames;
        frames.push_back(frame + 21);
    }
}
constexpr std::size_t FramesOfJoint = 23;

/// Windows that begin or end within those frames.
std::vector<std::size_t> windowsAroundJoints()
{
    std::vector<std::size_t> windows;
    for (std::size_t frame : firstFramesOfJoints()) {
        for (std::size_t i = frame * 1152 / Window; i < (frame + FramesOfJoint) * 1152 / Window; ++i)
            windows.push_back(i);
    }
    return windows;
}

struct Row {
    const char* name;
    Signal (MadeSound::*make)() const;
    std::int32_t bitrate; ///< 0 for a variable one
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name << row.bitrate; }

class SegmentedSound : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        for (const char* program : { "ffmpeg", "lame", "mpg123", "python3" }) {
            if (!haveProgram(program))
                GTEST_SKIP() << program << " is not installed";
        }
        m_signal = (MadeSound { Rate, Length }.*GetParam().make)();
        m_source = m_folder.file("in.wav");
        writeWave(m_source, m_signal, Rate, 2);
        m_single = encode("single.mp3", 1);
        m_joined = encode("joined.mp3", Cores);
    }
    std::string encode(const std::string& name, unsigned cores)
    {
        Record attributes { { MVAudioEncoderExactConversionAttribute, true }, { MVMP3EncoderStereoModeAttribte, 3 },
            { MVAudioEncoderVBRAttribute, GetParam().bitrate == 0 },
            { MVAudioEncoderBitrateAttribute, GetParam().bitrate } };
        Silent listener;
        auto place = OutputPlace::at(m_folder.file(name));
        EXPECT_TRUE(standardEncoding(cores)(attributes, listener, OpenedFile::at(m_source), *place));
        return m_folder.file(name);
    }
    /// The 95th percentile of how much worse the joined file is, in the windows around joints.
    double worse(const Signal& single, const Signal& joined) const
    {
        std::vector<double> differences;
        for (std::size_t window : windowsAroundJoints())
            differences.push_back(signalToNoise(m_signal, single, 2 * window * Window, 2 * Window)
                - signalToNoise(m_signal, joined, 2 * window * Window, 2 * Window));
        std::sort(differences.begin(), differences.end());
        return differences[differences.size() * 95 / 100];
    }

    ScratchFolder m_folder;
    Signal m_signal;
    std::string m_source;
    std::string m_single;
    std::string m_joined;
};

INSTANTIATE_TEST_SUITE_P(Signals, SegmentedSound,
    testing::Values(Row { "sine", &MadeSound::sine, 128'000 }, Row { "silence", &MadeSound::silence, 128'000 },
        Row { "impulses", &MadeSound::impulses, 128'000 }, Row { "noise", &MadeSound::noise, 128'000 },
        Row { "speech", &MadeSound::speech, 128'000 }, Row { "noise", &MadeSound::noise, 320'000 },
        Row { "speech", &MadeSound::speech, 320'000 }, Row { "sine", &MadeSound::sine, 0 },
        Row { "silence", &MadeSound::silence, 0 }, Row { "impulses", &MadeSound::impulses, 0 },
        Row { "noise", &MadeSound::noise, 0 }, Row { "speech", &MadeSound::speech, 0 }),
    [](const auto& row) { return std::string(row.param.name) + std::to_string(row.param.bitrate / 1000); });

TEST_P(SegmentedSound, NobodyCanTellAJoint)
{
    ASSERT_GT(windowsAroundJoints().size(), 3u * 25);
    const std::string joined = shellQuoted(m_joined);
    // Valid frame by frame, and as long as the source.
    EXPECT_EQ(outputOf(MV_WALK_MP3 " " + joined).substr(5), std::to_string(Length) + "\n");
    EXPECT_EQ(
        outputOf("ffmpeg -v warning -err_detect crccheck+bitstream+buffer+explode -i " + joined + " -f null - 2>&1"),
        "");
    // As large as the single stream.
    auto size = static_cast<double>(readFile(m_single).size());
    EXPECT_NEAR(static_cast<double>(readFile(m_joined).size()), size, size / 100);
    // As near to the source, by three decoders.
    for (const std::string command :
        { "ffmpeg -v error -i % -f s16le -", "lame --quiet --decode -t % -", "mpg123 --quiet --stdout %" }) {
        auto heard = [&](const std::string& file) {
            std::string text = command;
            return decoded(text.replace(text.find('%'), 1, shellQuoted(file)));
        };
        Signal there = heard(m_single);
        Signal here = heard(m_joined);
        ASSERT_EQ(here.size(), m_signal.size()) << command;
        ASSERT_EQ(there.size(), m_signal.size()) << command;
        EXPECT_LE(worse(there, here), 0.5) << command;
    }
    // Not by chance.
    EXPECT_EQ(readFile(encode("again.mp3", Cores)), readFile(m_joined));
}

std::vector<Trace> tracesOfFile(const std::string& file)
{
    auto traces = tracesOf(MV_WALK_MP3 " --frames " + shellQuoted(file),
        { "size", "begin of the main data", "bits", "bits of scale factors", "gain" });
    traces.push_back(energyOf(decoded("ffmpeg -v error -i " + shellQuoted(file) + " -f s16le -"), 2 * 1152));
    return traces;
}

/// Frames before whose main data bytes lie that nobody uses.
std::size_t framesBehindFilling(const std::string& file)
{
    std::istringstream lines(outputOf(MV_WALK_MP3 " --frames " + shellQuoted(file) + " | cut -d ' ' -f 6"));
    std::size_t frames = 0;
    for (std::size_t unused = 0; lines >> unused;)
        frames += unused > 0;
    return frames;
}

// Whoever has a file alone, and does not know how it was cut, looks for steps.
TEST_P(SegmentedSound, StepsAtJointsAreThoseOfOneEncoder)
{
    auto joined = tracesOfFile(m_joined);
    auto single = tracesOfFile(m_single);
    for (std::size_t i = 0; i < joined.size(); ++i) {
        double atJoints = 0;
        for (std::size_t first : firstFramesOfJoints())
            atJoints = std::max(atJoints, largestStep(joined[i], first, first + FramesOfJoint));
        // The first second is an encoder's that gets going.
        double usual = largestStep(single[i], 39, single[i].values.size() - 2);
        EXPECT_LE(atJoints, usual) << joined[i].name;
        std::cout << "  " << joined[i].name << ": at joints " << atJoints << ", of one encoder " << usual << "\n";
    }
}

class SegmentedFilling : public SegmentedSound { };

// Of these one encoder leaves no byte unused.
INSTANTIATE_TEST_SUITE_P(Signals, SegmentedFilling,
    testing::Values(Row { "noise", &MadeSound::noise, 128'000 }, Row { "sine", &MadeSound::sine, 0 },
        Row { "noise", &MadeSound::noise, 0 }, Row { "speech", &MadeSound::speech, 0 }),
    [](const auto& row) { return std::string(row.param.name) + std::to_string(row.param.bitrate / 1000); });

// What is left of a joint: once for each, where the reservoirs of two encoders differ.
TEST_P(SegmentedFilling, IsAtJointsAlone)
{
    ASSERT_EQ(framesBehindFilling(m_single), 0u);
    EXPECT_LE(framesBehindFilling(m_joined), firstFramesOfJoints().size());
}

class SegmentedSeek : public SegmentedSound { };

INSTANTIATE_TEST_SUITE_P(Signals, SegmentedSeek,
    testing::Values(Row { "noise", &MadeSound::noise, 128'000 }, Row { "speech", &MadeSound::speech, 320'000 },
        Row { "noise", &MadeSound::noise, 0 }, Row { "speech", &MadeSound::speech, 0 }),
    [](const auto& row) { return std::string(row.param.name) + std::to_string(row.param.bitrate / 1000); });

/// Where two signals are the same to the end of the shorter one; its length where they never are.
std::size_t sameFrom(const Signal& part, const Signal& whole, std::size_t offset)
{
    std::size_t end = std::min(part.size(), whole.size() - offset);
    while (end > 0 && part[end - 1] == whole[offset + end - 1])
        --end;
    return end;
}

TEST_P(SegmentedSeek, PlaysOnFromTenPlacesAsIfItHadComeThere)
{
    const std::string file = shellQuoted(m_joined);
    const Signal byFfmpeg = decoded("ffmpeg -v error -i " + file + " -f s16le -");
    const Signal byMpg123 = decoded("mpg123 --quiet --stdout " + file);
    ASSERT_EQ(byFfmpeg.size(), 2 * Length);
    ASSERT_EQ(byMpg123.size(), 2 * Length);
    std::vector<std::size_t> frames = firstFramesOfJoints();
    frames.resize(std::min<std::size_t>(frames.size(), 5));
    for (std::size_t i = 0; frames.size() < 10; ++i)
        frames.push_back(100 + 173 * i);
    for (std::size_t frame : frames) {
        // To a tenth of a second, which is a whole number of samples. It begins before what its first frames refer to
        // is known, in any file.
        std::size_t tenth = frame * 1152 * 10 / Rate;
        Signal part = decoded("ffmpeg -v error -ss " + std::to_string(static_cast<double>(tenth) / 10) + " -i " + file
            + " -t 2 -f s16le -");
        ASSERT_EQ(part.size(), 2 * 2 * static_cast<std::size_t>(Rate)) << tenth;
        EXPECT_LE(sameFrom(part, byFfmpeg, tenth * Rate / 10 * 2), 2u * 5 * 1152) << "ffmpeg, second " << tenth / 10.0;
        part = decoded("mpg123 --quiet --stdout --skip " + std::to_string(frame) + " --frames 70 " + file);
        ASSERT_EQ(part.size(), 2u * 70 * 1152) << frame;
        // It leaves out what the encoder and the decoder put in front.
        constexpr std::size_t Delay = 576 + 529;
        EXPECT_EQ(sameFrom(part, byMpg123, (frame * 1152 - Delay) * 2), 0u) << "mpg123, frame " << frame;
    }
}

} // namespace
} // namespace mv
