#include "ffmpeg/movies/FrameBudget.h"
#include "ffmpeg/FfmpegSetup.h"
#include "ffmpeg/MediaInput.h"
#include "system/InputFile.h"
#include "tests/movies/Clips.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

constexpr std::int64_t FrameBytes = 64 * 64 * 3 / 2; // without the rows that a decoder adds

class FrameBudgetTest : public testing::Test {
protected:
    void SetUp() override
    {
        MV_NEEDS_FFMPEG();
        setUpFfmpeg();
        m_input = std::move(*MediaInput::open(*InputFile::openShared(test::makeClip(m_folder, "a.mp4",
                                                  test::movingPicture(64, 64, 10, 1) + " -c:v mpeg4 -bf 2")),
            {}));
    }
    /// The frames of the clip that a decoder on that budget gives out, all of them kept.
    std::vector<FrameHandle> decode(FrameBudget& budget, int threads)
    {
        AVStream& stream = *m_input->context().streams[0];
        const AVCodec* codec = avcodec_find_decoder(stream.codecpar->codec_id);
        CodecContext decoder(avcodec_alloc_context3(codec));
        avcodec_parameters_to_context(decoder.get(), stream.codecpar);
        decoder->thread_count = threads;
        budget.watch(*decoder);
        EXPECT_EQ(avcodec_open2(decoder.get(), codec, nullptr), 0);
        std::vector<FrameHandle> frames;
        PacketHandle packet = makePacket();
        bool more = true;
        while (more) {
            more = av_read_frame(&m_input->context(), packet.get()) >= 0;
            avcodec_send_packet(decoder.get(), more ? packet.get() : nullptr);
            av_packet_unref(packet.get());
            FrameHandle frame = makeFrame();
            while (avcodec_receive_frame(decoder.get(), frame.get()) >= 0) {
                frames.push_back(std::move(frame));
                frame = makeFrame();
            }
        }
        return frames;
    }

    test::ScratchFolder m_folder;
    std::unique_ptr<MediaInput> m_input;
};

TEST_F(FrameBudgetTest, CountsFramesUntilTheLastReferenceGoes)
{
    FrameBudget budget;
    std::vector<FrameHandle> frames = decode(budget, 2);
    EXPECT_EQ(frames.size(), 10u);
    EXPECT_GE(budget.bytesOut(), 10 * FrameBytes);
    FrameHandle last(av_frame_clone(frames.back().get()));
    frames.clear();
    EXPECT_GE(budget.bytesOut(), FrameBytes);
    EXPECT_LT(budget.bytesOut(), 2 * FrameBytes);
    last.reset();
    EXPECT_EQ(budget.bytesOut(), 0);
}

TEST_F(FrameBudgetTest, WhatDoesNotFitIsNotDecoded)
{
    FrameBudget none(FrameBytes - 1);
    EXPECT_TRUE(decode(none, 1).empty());
    EXPECT_EQ(none.bytesOut(), 0);
}

TEST_F(FrameBudgetTest, FramesOutliveTheBudget)
{
    std::vector<FrameHandle> frames;
    {
        FrameBudget budget;
        frames = decode(budget, 1);
    }
    EXPECT_EQ(frames.size(), 10u);
    frames.clear();
}

} // namespace
} // namespace mv
