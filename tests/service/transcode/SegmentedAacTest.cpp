#include "service/transcode/AacEncodingJob.h"
#include "service/transcode/MP4ExporterImpl.h"
#include "tests/service/transcode/Traces.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <gtest/gtest.h>
#include <iostream>
#include <numeric>

// Joints in real sound, beside what one encoder makes of it.

namespace mv {
namespace {

using namespace test;

constexpr unsigned Cores = 4; // so that there are some joints
constexpr std::size_t FrameSize = 1024;

class GoOn final : public MVMP4ExporterDelegate {
public:
    bool MP4ExporterProgress(std::int32_t) override { return true; }
};

struct Row {
    const char* name;
    Signal (MadeSound::*make)() const;
    int rate;
    int channels;
    std::int32_t bitrate;
};
void PrintTo(const Row& row, std::ostream* out) { *out << row.name << row.rate; }

class SegmentedAac : public testing::TestWithParam<Row> {
protected:
    void SetUp() override
    {
        if (!haveProgram("ffmpeg"))
            GTEST_SKIP() << "ffmpeg is not installed";
        m_signal = (MadeSound { GetParam().rate, m_length }.*GetParam().make)();
        if (GetParam().channels == 1)
            m_signal = firstChannel(m_signal);
        writeWave(m_source, m_signal, GetParam().rate, GetParam().channels);
        m_single = m_folder.file("single.m4a");
        auto place = OutputPlace::at(m_single);
        ASSERT_EQ(MP4ExporterImpl().convertToAacWithDelegateFromPathToMp4PathBitrate(
                      nullptr, OpenedFile::at(m_source), place, GetParam().bitrate),
            noErr);
        m_joined = join("joined.m4a");
    }
    std::string join(const std::string& name)
    {
        GoOn delegate;
        auto source = OpenedFile::at(m_source);
        AacEncodingJob job(source, static_cast<std::uint32_t>(GetParam().bitrate), delegate);
        EXPECT_EQ(job.open(), noErr);
        EXPECT_TRUE(job.isForSegments());
        EXPECT_EQ(job.run(*OutputPlace::at(m_folder.file(name)), Cores), noErr);
        return m_folder.file(name);
    }
    /// Samples from which on, and before which, joints and what is heard of them for half a second can be.
    std::vector<std::pair<std::size_t, std::size_t>> aroundJoints() const
    {
        const SegmentShape shape = AacSegments::shape(FrameSize);
        SegmentPlan plan(Cores, m_length, shape);
        std::vector<std::pair<std::size_t, std::size_t>> places;
        std::size_t chunk = 0;
        for (std::size_t number = 0;; ++number) {
            chunk += plan.chunks(number);
            std::size_t first = chunk * shape.chunkFrames;
            std::size_t end = (first + shape.sharedFrames + 20) * FrameSize;
            if (end > m_length)
                return places;
            places.emplace_back((first + shape.listeningFrames - 2) * FrameSize, end);
        }
    }
    /// What so many decibels more of each hundred windows around joints have.
    double percentile(const Signal& heard, std::size_t percent) const
    {
        const auto channels = static_cast<std::size_t>(GetParam().channels);
        const auto window = static_cast<std::size_t>(GetParam().rate / 50);
        std::vector<double> all;
        for (auto [begin, end] : aroundJoints()) {
            for (std::size_t at = begin; at + window <= end; at += window)
                all.push_back(signalToNoise(m_signal, heard, at * channels, window * channels));
        }
        std::sort(all.begin(), all.end());
        return all[all.size() * percent / 100];
    }
    int largestError(const Signal& heard, std::size_t begin, std::size_t end) const
    {
        const auto channels = static_cast<std::size_t>(GetParam().channels);
        int largest = 0;
        for (std::size_t i = begin * channels; i < end * channels; ++i)
            largest = std::max(largest, std::abs(m_signal[i] - heard[i]));
        return largest;
    }
    Signal heard(const std::string& file) const
    {
        return decoded("ffmpeg -v error -i " + shellQuoted(file) + " -f s16le -");
    }
    /// What shows of a packet to who has nothing else, and of eight of them.
    std::vector<Trace> tracesOfFile(const std::string& file) const
    {
        auto traces = tracesOf(MV_WALK_AAC " " + shellQuoted(file), { "size", "gain", "bits of scale factors" });
        const auto channels = static_cast<std::size_t>(GetParam().channels);
        traces.push_back(energyOf(heard(file), FrameSize * channels));
        return traces;
    }
    /// The largest from the sum of eight to that of the next eight.
    static double largestMeanStep(const Trace& trace, std::size_t begin, std::size_t end)
    {
        constexpr std::size_t Mean = 8;
        double largest = 0;
        for (std::size_t i = begin; i < end; ++i) {
            auto at = trace.values.begin() + static_cast<std::ptrdiff_t>(i);
            largest = std::max(
                largest, std::abs(std::accumulate(at, at + Mean, 0.0) - std::accumulate(at - Mean, at, 0.0)));
        }
        return largest;
    }
    static std::string trackOf(const std::string& file)
    {
        return outputOf("ffprobe -v error -show_entries stream=codec_name,profile,sample_rate,channels,start_pts,"
                        "duration_ts,nb_frames -of default=nw=1 "
            + shellQuoted(file));
    }

    ScratchFolder m_folder;
    std::size_t m_length = 12 * 256 * FrameSize + 777;
    std::string m_source = m_folder.file("in.wav");
    Signal m_signal;
    std::string m_single;
    std::string m_joined;
};

INSTANTIATE_TEST_SUITE_P(Signals, SegmentedAac,
    testing::Values(Row { "sine", &MadeSound::sine, 44'100, 2, 128'000 },
        Row { "silence", &MadeSound::silence, 44'100, 2, 128'000 },
        Row { "impulses", &MadeSound::impulses, 44'100, 2, 128'000 },
        Row { "noise", &MadeSound::noise, 44'100, 2, 128'000 },
        Row { "speech", &MadeSound::speech, 44'100, 2, 128'000 }, Row { "sine", &MadeSound::sine, 48'000, 2, 256'000 },
        Row { "noise", &MadeSound::noise, 48'000, 1, 96'000 },
        Row { "impulses", &MadeSound::impulses, 48'000, 1, 64'000 },
        Row { "speech", &MadeSound::speech, 22'050, 1, 48'000 }, Row { "sine", &MadeSound::sine, 22'050, 2, 64'000 }),
    [](const auto& row) {
        return std::string(row.param.name) + std::to_string(row.param.rate) + "x" + std::to_string(row.param.channels);
    });

TEST_P(SegmentedAac, NobodyCanTellAJoint)
{
    ASSERT_GE(aroundJoints().size(), 2u);
    // A valid stream, with the same packets' number, beginning and length.
    EXPECT_EQ(trackOf(m_joined), trackOf(m_single));
    EXPECT_NE(trackOf(m_joined).find("duration_ts=" + std::to_string(m_length) + "\n"), std::string::npos);
    EXPECT_EQ(outputOf("ffmpeg -v warning -err_detect crccheck+bitstream+buffer+explode -i " + shellQuoted(m_joined)
                  + " -f null - 2>&1"),
        "");
    auto size = static_cast<double>(readFile(m_single).size());
    EXPECT_NEAR(static_cast<double>(readFile(m_joined).size()), size, size / 100);
    // As near to the source.
    Signal there = heard(m_single);
    Signal here = heard(m_joined);
    ASSERT_EQ(here.size(), there.size());
    ASSERT_GE(here.size(), m_signal.size());
    for (std::size_t percent : { 5, 50 })
        EXPECT_GE(percentile(here, percent), percentile(there, percent) - 0.5) << percent;
    // No click: nothing is further off than by the worst that one encoder does, wherever it does it, but for its start.
    int worst = largestError(there, m_length / 4, m_length);
    for (auto [begin, end] : aroundJoints())
        EXPECT_LE(largestError(here, begin, end), worst + worst / 4 + 1);
    // Not by chance.
    EXPECT_EQ(readFile(join("again.m4a")), readFile(m_joined));
}

// Whoever has a file alone, and does not know how it was cut, looks for steps.
TEST_P(SegmentedAac, StepsAtJointsAreThoseOfOneEncoder)
{
    auto joined = tracesOfFile(m_joined);
    auto single = tracesOfFile(m_single);
    // What is seen of joints: the gain's, and a little of the energy's, of white noise at a low rate. The gain is that
    // of the first band that is not noise made up by the decoder, and which one that is two encoders do not agree
    // about.
    constexpr std::array<double, 4> OfUsual { 1, 1.7, 1, 1.1 };
    ASSERT_EQ(joined.size(), OfUsual.size());
    for (std::size_t i = 0; i < joined.size(); ++i) {
        const std::size_t packets = single[i].values.size();
        ASSERT_GT(packets, m_length / FrameSize - 2);
        double atJoints = 0;
        double meanAtJoints = 0;
        for (auto [begin, end] : aroundJoints()) {
            atJoints = std::max(atJoints, largestStep(joined[i], begin / FrameSize, end / FrameSize - 8));
            meanAtJoints = std::max(meanAtJoints, largestMeanStep(joined[i], begin / FrameSize, end / FrameSize - 8));
        }
        // An encoder gets going in the first quarter.
        double usual = largestStep(single[i], packets / 4, packets - 10);
        double usualMean = largestMeanStep(single[i], packets / 4, packets - 10);
        EXPECT_LE(atJoints, usual * OfUsual[i]) << joined[i].name;
        EXPECT_LE(meanAtJoints, usualMean * OfUsual[i]) << joined[i].name;
        std::cout << "  " << joined[i].name << ": at joints " << atJoints << ", of eight " << meanAtJoints
                  << "; of one encoder " << usual << ", " << usualMean << "\n";
    }
    // The encoder's name comes round.
    auto nameIn = [&](const std::string& file) {
        return outputOf("ffmpeg -v error -i " + shellQuoted(file) + " -c copy -f adts - | grep -aob Lavc | wc -l");
    };
    EXPECT_GE(std::stoi(nameIn(m_single)), 12);
    EXPECT_EQ(nameIn(m_joined), nameIn(m_single));
}

// Noise that the decoder makes up is another after a search; what was encoded is not, and a sample too early or too
// late would be all noise.
TEST_P(SegmentedAac, PlaysOnFromTenPlacesAsIfItHadComeThere)
{
    const auto perTenth = static_cast<std::size_t>(GetParam().rate / 10 * GetParam().channels);
    const Signal straight = heard(m_joined);
    std::vector<std::size_t> tenths;
    for (auto [begin, end] : aroundJoints())
        tenths.push_back((begin + end) / 2 * 10 / static_cast<std::size_t>(GetParam().rate));
    for (std::size_t i = 0; tenths.size() < 10; ++i)
        tenths.push_back(7 + 53 * i);
    for (std::size_t tenth : tenths) {
        Signal part = decoded("ffmpeg -v error -ss " + std::to_string(static_cast<double>(tenth) / 10) + " -i "
            + shellQuoted(m_joined) + " -t 2 -f s16le -");
        ASSERT_EQ(part.size(), 20 * perTenth) << tenth;
        auto from = [&](const Signal& whole) {
            auto begin = whole.begin() + static_cast<std::ptrdiff_t>(tenth * perTenth);
            return Signal(begin, begin + static_cast<std::ptrdiff_t>(part.size()));
        };
        // The packet before the first one fades in with it, in any file, and ffmpeg does not look for it.
        const std::size_t skipped = 2 * FrameSize * static_cast<std::size_t>(GetParam().channels);
        const std::size_t count = part.size() - skipped;
        EXPECT_GE(signalToNoise(from(m_signal), part, skipped, count),
            signalToNoise(from(m_signal), from(straight), skipped, count) - 0.5)
            << "second " << static_cast<double>(tenth) / 10;
    }
}

} // namespace
} // namespace mv
