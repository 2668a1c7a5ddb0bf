#include "service/transcode/AacSegments.h"

#include "audio/AudioBackend.h"
#include "service/transcode/SegmentLine.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <atomic>
#include <gtest/gtest.h>

namespace mv {
namespace {

using namespace test;

constexpr std::size_t FrameSize = 1024;

/// Makes packets that end with the number of their encoder, one packet late.
class NumberedEncoder final : public AacEncoder {
public:
    NumberedEncoder(std::uint8_t number, bool isShort, bool fails)
        : m_packet { 0, 0, std::uint8_t(isShort ? 0x40 : 0), 0, number }
        , m_fails(fails)
    {
    }
    const Bytes& audioSpecificConfig() const override { return m_config; }
    std::uint32_t framesPerPacket() const override { return FrameSize; }
    std::uint32_t primingFrames() const override { return FrameSize; }
    Result<void> encode(const float* const*, std::uint32_t count, const PacketSink& sink) override
    {
        if (m_fails)
            return Error { Error::Kind::State, "as told", paramErr };
        bool isFirst = m_taken == 0;
        m_taken += count;
        return isFirst ? Result<void> {} : sink(m_packet);
    }
    Result<std::uint64_t> finish(const PacketSink& sink) override
    {
        MV_TRY_VOID(sink(m_packet));
        MV_TRY_VOID(sink(m_packet));
        return m_taken;
    }

private:
    const Bytes m_config { 0x12, 0x10 };
    Bytes m_packet;
    bool m_fails;
    std::uint64_t m_taken = 0;
};

class NumberingBackend final : public AudioBackend {
public:
    Result<std::unique_ptr<AacEncoder>> makeAacEncoder(const AacEncoderSettings& settings) override
    {
        EXPECT_EQ(settings.settlingPackets > 0, made > 0);
        int number = ++made;
        return std::unique_ptr<AacEncoder>(std::make_unique<NumberedEncoder>(
            static_cast<std::uint8_t>(number), number > 1 && laterAreShort, number == failing));
    }
    std::atomic<int> made = 0;
    bool laterAreShort = false;
    int failing = 0;
};

class AacSegmentsTest : public testing::Test {
protected:
    void SetUp() override { setAudioBackendForTesting(&m_backend); }
    void TearDown() override { setAudioBackendForTesting(nullptr); }

    /// The encoders of all packets; what went wrong stands in m_failure.
    std::vector<int> encode(std::size_t samples)
    {
        WaveMaker wave;
        wave.format(1, 1, 44'100, 16).silence(samples * 2);
        auto file = OpenedFile::at(m_folder.write("in.wav", wave.bytes()));
        auto source = *MVExtAudioFile::initWithFileToOpen(file);
        source->setClientDataFormat(source->canonicalDataFormat());
        AacEncoderSettings settings { .inputRate = 44'100, .rate = 44'100, .channels = 1, .bitRate = 64'000 };
        AacSegments format(*source, settings, *m_backend.makeAacEncoder(settings));
        SegmentLine<AacSegments> line(format, SegmentPlan(3, samples, AacSegments::shape(FrameSize)));
        std::vector<int> makers;
        while (true) {
            auto step = line.next();
            if (!step) {
                m_failure = step.error().code;
                return makers;
            }
            m_told += step->samples;
            for (std::size_t number = step->begin; number < step->end; ++number)
                makers.push_back(step->encoder->stream().packet(number).back());
            if (step->isLast) {
                m_joints = line.joints();
                m_length = step->encoder->samplesToEnd();
                return makers;
            }
        }
    }

    ScratchFolder m_folder;
    NumberingBackend m_backend;
    OSStatus m_failure = noErr;
    std::size_t m_told = 0;
    std::size_t m_joints = 0;
    std::uint64_t m_length = 0;
};

constexpr std::size_t Chunk = 256 * FrameSize;

TEST_F(AacSegmentsTest, SegmentsAreOfSeveralEncodersJoinedBehindTheSoundThatTheyListenTo)
{
    auto makers = encode(40 * Chunk + 5);
    EXPECT_EQ(makers.size(), 40 * 256u + 2); // the priming one, and what is left
    EXPECT_EQ(m_told, 40 * Chunk + 5);
    EXPECT_EQ(m_length, 40 * Chunk + 5);
    EXPECT_GE(m_joints, 4u);
    const SegmentShape shape = AacSegments::shape(FrameSize);
    std::size_t first = SegmentPlan(3, 40 * Chunk + 5, shape).chunks(0) * shape.chunkFrames + shape.listeningFrames;
    EXPECT_EQ(std::count(makers.begin(), makers.end(), 1), static_cast<std::ptrdiff_t>(first));
    EXPECT_TRUE(std::all_of(
        makers.begin(), makers.begin() + static_cast<std::ptrdiff_t>(first), [](int maker) { return maker == 1; }));
}

TEST_F(AacSegmentsTest, WhereNoJointIsTheEncoderBeforeItGoesOn)
{
    m_backend.laterAreShort = true;
    for (std::size_t samples : { 3 * Chunk + 1, 4 * Chunk, 5 * Chunk + 77, 20 * Chunk }) {
        m_backend.made = 0;
        m_joints = 1;
        auto makers = encode(samples);
        EXPECT_EQ(makers, std::vector<int>((samples + FrameSize - 1) / FrameSize + 1, 1)) << samples;
        EXPECT_EQ(m_joints, 0u);
        EXPECT_EQ(m_length, samples);
    }
}

TEST_F(AacSegmentsTest, AnEncoderThatFailsEndsIt)
{
    for (int number : { 1, 2, 4 }) {
        m_backend.made = 0;
        m_backend.failing = number;
        m_failure = noErr;
        encode(40 * Chunk);
        EXPECT_EQ(m_failure, paramErr) << number;
    }
}

} // namespace
} // namespace mv
