#include "service/transcode/SegmentedEncoding.h"

#include "tests/mp3/MadeFrames.h"
#include "tests/support/Instrumented.h"
#include "tests/support/ProcessTree.h"

#include <atomic>
#include <fstream>
#include <gtest/gtest.h>
#include <stdexcept>
#include <unistd.h>

namespace mv {
namespace {

using test::MadeFrame;
using test::madeFrame;

constexpr std::size_t FrameSize = 1152;

/// Makes a frame of every 1152 samples. Each encoder has a number, in the order of their making, and what it makes has
/// that as its filling.
class MadeUpLibrary final : public LameLibrary {
public:
    lame_t init() const override { return reinterpret_cast<lame_t>(m_encoders + ++m_made); }
    int encodeBufferInt(lame_t lame, const int*, const int*, int frames, unsigned char* out, int) const override
    {
        auto number = static_cast<std::uint8_t>(reinterpret_cast<char*>(lame) - m_encoders);
        if (number == failing)
            return -3;
        if (number == babbling)
            return static_cast<int>(std::fill_n(out, 100, 'x') - out);
        Bytes frame = madeFrame(number > first ? later : MadeFrame {});
        std::fill(frame.begin() + 36, frame.end(), number);
        return frames < static_cast<int>(FrameSize)
            ? 0
            : static_cast<int>(std::copy(frame.begin(), frame.end(), out) - out);
    }
    int encodeFlush(lame_t, unsigned char*, int) const override { return 0; }
    std::size_t getLametagFrame(lame_t, unsigned char*, std::size_t) const override { return 0; }
    int close(lame_t) const override
    {
        ++m_closed;
        return 0;
    }

    MadeFrame later; ///< what the encoders behind the first make
    unsigned first = 1; ///< its number
    unsigned failing = 0; ///< the number of the encoder that fails
    unsigned babbling = 0; ///< and of the one that makes no frames
    int made() const { return m_made; }
    int closed() const { return m_closed; }

private:
    mutable char m_encoders[256] {};
    mutable std::atomic<int> m_made = 0;
    mutable std::atomic<int> m_closed = 0;
};

class CountingDecoder final : public MVAudioDecoder {
public:
    explicit CountingDecoder(std::int64_t frames)
        : m_left(frames)
    {
    }
    std::int32_t readPCMSampleCount(AudioBufferList* list, std::uint32_t count) override
    {
        if (raisesAt >= m_left)
            throw std::runtime_error("no more");
        auto frames = static_cast<std::int32_t>(std::min<std::int64_t>(count, m_left));
        m_left -= frames;
        std::fill_n(static_cast<std::uint8_t*>(list->mBuffers[0].mData), frames * 8, std::uint8_t { 0 });
        list->mBuffers[0].mDataByteSize = static_cast<std::uint32_t>(frames * 8);
        return frames;
    }
    std::int64_t raisesAt = -1;

private:
    std::int64_t m_left;
};

class SegmentedEncodingTest : public testing::Test {
protected:
    std::unique_ptr<SegmentedEncoding> start(std::int64_t frames)
    {
        m_decoder = std::make_unique<CountingDecoder>(frames * static_cast<std::int64_t>(FrameSize));
        m_decoder->raisesAt = m_raisesAt;
        SegmentPlan plan(3, static_cast<std::uint64_t>(frames) * FrameSize, Mp3Segments::shape(FrameSize));
        auto make = [this] { return LameHandle(m_library.init(), [this](lame_t lame) { m_library.close(lame); }); };
        return std::make_unique<SegmentedEncoding>(*m_decoder, m_library, make(), make, plan);
    }
    /// All of it, up to a failure; what went wrong stands in m_result.
    Bytes encode(std::int64_t frames)
    {
        auto sound = start(frames);
        Bytes all;
        while (true) {
            EncodedSound::Block block = sound->next();
            m_told += block.frames;
            m_result = block.result;
            all.insert(all.end(), block.mp3.begin(), block.mp3.end());
            if (block.isLast || block.result < 0)
                return all;
        }
    }
    static std::vector<int> makersOf(const Bytes& bytes)
    {
        std::vector<int> makers;
        for (std::size_t i = 416; i < bytes.size(); i += 417)
            makers.push_back(bytes[i]);
        return makers;
    }

    MadeUpLibrary m_library;
    std::unique_ptr<CountingDecoder> m_decoder;
    std::int64_t m_raisesAt = -1;
    std::int64_t m_told = 0;
    int m_result = 0;
};

TEST_F(SegmentedEncodingTest, EveryFrameIsThereOnceAndInOrder)
{
    for (std::int64_t frames : { 0, 1, 49, 50, 98, 49 * 3, 49 * 3 + 1, 49 * 4 - 1, 49 * 4, 49 * 4 + 1, 49 * 6, 2000 }) {
        m_told = 0;
        auto makers = makersOf(encode(frames));
        EXPECT_EQ(makers.size(), static_cast<std::size_t>(frames));
        EXPECT_EQ(m_told, frames * static_cast<std::int64_t>(FrameSize));
    }
    EXPECT_EQ(m_library.made(), m_library.closed());
}

/// Forgets how much this process has needed so far; false where that may not be done.
bool forgetPeak()
{
    std::ofstream file("/proc/self/clear_refs");
    file << "5" << std::flush;
    return file.good();
}

// Of two hours alone the samples are 2.5 GB.
TEST_F(SegmentedEncodingTest, MemoryDoesNotGrowWithLength)
{
    if (test::isInstrumented())
        GTEST_SKIP() << "the sanitizers keep what was freed, and more";
    constexpr long MaxKiB = 230L << 10; // of which samples are 160 MB
    long before = test::statusValue(getpid(), "VmRSS");
    if (before < 0 || !forgetPeak())
        GTEST_SKIP() << "this process cannot ask what memory it has needed";
    for (std::int64_t seconds : { 600, 3600, 7200 }) {
        std::int64_t frames = seconds * 44'100 / static_cast<std::int64_t>(FrameSize);
        auto sound = start(frames);
        std::int64_t told = 0;
        std::size_t bytes = 0;
        for (EncodedSound::Block block; !block.isLast;) {
            block = sound->next();
            ASSERT_GE(block.result, 0);
            told += block.frames;
            bytes += block.mp3.size();
        }
        EXPECT_EQ(told, frames * static_cast<std::int64_t>(FrameSize));
        EXPECT_EQ(bytes, static_cast<std::size_t>(frames) * 417);
        EXPECT_LE(test::statusValue(getpid(), "VmHWM") - before, MaxKiB) << seconds;
    }
}

TEST_F(SegmentedEncodingTest, SegmentsAreOfSeveralEncodersJoinedBehindTheSoundThatTheyListenTo)
{
    auto makers = makersOf(encode(2000));
    constexpr int First = 10 * 49 + 24; // of three cores' parts three quarters
    EXPECT_EQ(std::count(makers.begin(), makers.begin() + First, 1), First);
    EXPECT_NE(makers[First], 1);
    EXPECT_GT(m_library.made(), 4);
}

// Its frames' data begin so far back that they never fit behind the first one's.
TEST_F(SegmentedEncodingTest, WhereNoJointIsTheEncoderBeforeItGoesOn)
{
    m_library.later.mainDataBegin = 100;
    for (std::int64_t frames : { 49 * 3 + 1, 49 * 4, 49 * 4 + 20, 49 * 5, 49 * 13, 2000 }) {
        m_library.first = static_cast<unsigned>(m_library.made()) + 1;
        auto makers = makersOf(encode(frames));
        EXPECT_EQ(m_result, 0);
        EXPECT_EQ(makers, std::vector<int>(static_cast<std::size_t>(frames), static_cast<int>(m_library.first)));
    }
}

TEST_F(SegmentedEncodingTest, AnEncoderThatFailsEndsIt)
{
    for (unsigned number : { 1u, 2u, 4u }) {
        m_library.failing = static_cast<unsigned>(m_library.made()) + number;
        encode(2000);
        EXPECT_EQ(m_result, -3);
        m_library.failing = 0;
        m_library.babbling = static_cast<unsigned>(m_library.made()) + number;
        encode(2000);
        EXPECT_LT(m_result, 0);
        m_library.babbling = 0;
    }
    EXPECT_EQ(m_library.made(), m_library.closed());
}

TEST_F(SegmentedEncodingTest, WhatTheDecoderRaisesComesOut)
{
    m_raisesAt = 1000 * static_cast<std::int64_t>(FrameSize);
    EXPECT_THROW(encode(2000), std::runtime_error);
}

TEST_F(SegmentedEncodingTest, CanBeLeftAtAnyMoment)
{
    for (int blocks = 0; blocks < 30; ++blocks) {
        auto sound = start(3000);
        for (int i = 0; i < blocks; ++i) {
            if (sound->next().isLast)
                break;
        }
    }
    EXPECT_EQ(m_library.made(), m_library.closed());
}

} // namespace
} // namespace mv
