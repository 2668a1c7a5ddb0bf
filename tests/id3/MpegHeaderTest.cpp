#include "id3/MpegHeader.h"

#include "id3/VbrHeader.h"
#include "tests/support/Mp3Maker.h"

#include <gtest/gtest.h>

namespace mv::test {
namespace {

std::optional<MpegHeader> parsed(const std::string& bytes) { return MpegHeader::parse(bytesOf(bytes)); }

TEST(MpegHeader, VersionsAndLayers)
{
    struct Row {
        MpegFrameKind kind;
        int bitrate, sampleRate, samples;
        std::size_t size;
    };
    const Row rows[] = {
        { { .version = 1, .layer = 3, .bitrateIndex = 9 }, 128000, 44100, 1152, 417 },
        { { .version = 1, .layer = 3, .bitrateIndex = 9, .padded = true }, 128000, 44100, 1152, 418 },
        { { .version = 1, .layer = 3, .bitrateIndex = 14, .sampleRateIndex = 2 }, 320000, 32000, 1152, 1440 },
        { { .version = 1, .layer = 2, .bitrateIndex = 14, .sampleRateIndex = 2 }, 384000, 32000, 1152, 1728 },
        { { .version = 1, .layer = 1, .bitrateIndex = 14 }, 448000, 44100, 384, 484 },
        { { .version = 1, .layer = 1, .bitrateIndex = 14, .padded = true }, 448000, 44100, 384, 488 },
        { { .version = 2, .layer = 3, .bitrateIndex = 8 }, 64000, 22050, 576, 208 },
        { { .version = 2, .layer = 2, .bitrateIndex = 8 }, 64000, 22050, 1152, 417 },
        { { .version = 2, .layer = 1, .bitrateIndex = 5 }, 80000, 22050, 384, 172 },
        { { .version = 25, .layer = 3, .bitrateIndex = 1, .sampleRateIndex = 2 }, 8000, 8000, 576, 72 },
        { { .version = 25, .layer = 3, .bitrateIndex = 14, .sampleRateIndex = 1 }, 160000, 12000, 576, 960 },
    };
    for (const Row& row : rows) {
        auto header = parsed(mpegFrame(row.kind));
        ASSERT_TRUE(header);
        EXPECT_EQ(header->layer, row.kind.layer);
        EXPECT_EQ(header->bitrate, row.bitrate);
        EXPECT_EQ(header->sampleRate, row.sampleRate);
        EXPECT_EQ(header->samplesPerFrame, row.samples);
        EXPECT_EQ(header->frameSize(), row.size);
    }
}

TEST(MpegHeader, ReservedValuesAndMissingSyncAreRefused)
{
    EXPECT_TRUE(parsed(zeroed("\xFF\xFB\x90\0")));
    EXPECT_FALSE(parsed(zeroed("\xFF\xEB\x90\0"))) << "version";
    EXPECT_FALSE(parsed(zeroed("\xFF\xF9\x90\0"))) << "layer";
    EXPECT_FALSE(parsed(zeroed("\xFF\xFB\xF0\0"))) << "bit rate";
    EXPECT_FALSE(parsed(zeroed("\xFF\xFB\x9C\0"))) << "sample rate";
    EXPECT_FALSE(parsed(zeroed("\xFF\xDB\x90\0"))) << "sync";
    EXPECT_FALSE(parsed(zeroed("\xFE\xFB\x90\0"))) << "sync";
    EXPECT_FALSE(parsed(zeroed("\xFF\xFB\x90"))) << "short";
}

std::optional<VbrHeader> tableOf(const std::string& frame) { return VbrHeader::parse(*parsed(frame), bytesOf(frame)); }

TEST(VbrHeader, XingAndInfoInEveryPlace)
{
    for (int version : { 1, 2, 25 }) {
        for (bool mono : { false, true }) {
            for (bool isProtected : { false, true }) {
                for (const char* mark : { "Xing", "Info" }) {
                    MpegFrameKind kind {
                        .version = version, .bitrateIndex = 12, .mono = mono, .isProtected = isProtected
                    };
                    auto table = tableOf(xingFrame({ .mark = mark, .frames = 1000, .bytes = 2000 }, kind));
                    ASSERT_TRUE(table);
                    EXPECT_EQ(table->frames, 1000u);
                    EXPECT_EQ(table->bytes, 2000u);
                }
            }
        }
    }
}

TEST(VbrHeader, DelaysOfKnownEncodersOnly)
{
    XingTable table { .frames = 100, .bytes = 1, .encoder = "LAME3.100", .delay = 576, .padding = 1000 };
    auto lame = tableOf(xingFrame(table));
    EXPECT_EQ(lame->encoderDelay, 576u);
    EXPECT_EQ(lame->endPadding, 1000u);
    EXPECT_EQ(lame->sampleCount(1152), 100u * 1152 - 1576);
    table.encoder = "Lavc58.54";
    EXPECT_EQ(tableOf(xingFrame(table))->encoderDelay, 576u);
    table.encoder = "LAME3.89 ";
    EXPECT_EQ(tableOf(xingFrame(table))->encoderDelay, 0u) << "text lies where later versions have the delays";
    table.encoder = "whatever!";
    EXPECT_EQ(tableOf(xingFrame(table))->sampleCount(1152), 100u * 1152);
}

TEST(VbrHeader, DelaysLongerThanTheStreamDoNotCount)
{
    auto table
        = tableOf(xingFrame({ .frames = 1, .bytes = 1, .encoder = "LAME3.100", .delay = 4000, .padding = 4000 }));
    EXPECT_EQ(table->sampleCount(1152), 1152u);
}

TEST(VbrHeader, WhatTheFlagsLeaveOutIsAbsent)
{
    auto table = tableOf(xingFrame({ .toc = false }));
    ASSERT_TRUE(table);
    EXPECT_FALSE(table->frames);
    EXPECT_FALSE(table->bytes);
    EXPECT_FALSE(table->sampleCount(1152));
    table = tableOf(xingFrame({ .frames = 5, .toc = false }));
    EXPECT_EQ(table->frames, 5u);
    EXPECT_FALSE(table->bytes);
}

TEST(VbrHeader, ATableThatTheFrameCutsOffIsATableOfNothing)
{
    std::string frame = xingFrame({ .frames = 5, .bytes = 6 });
    auto table = VbrHeader::parse(*parsed(frame), bytesOf(frame).first(45));
    ASSERT_TRUE(table);
    EXPECT_FALSE(table->frames);
}

TEST(VbrHeader, Vbri)
{
    auto table = tableOf(vbriFrame(1234, 56789));
    ASSERT_TRUE(table);
    EXPECT_EQ(table->frames, 1234u);
    EXPECT_EQ(table->bytes, 56789u);
}

TEST(VbrHeader, PlainFramesAndOtherLayersHaveNone)
{
    EXPECT_FALSE(tableOf(mpegFrame()));
    EXPECT_FALSE(tableOf(xingFrame({ .frames = 1 }, { .layer = 2 })));
}

} // namespace
} // namespace mv::test
