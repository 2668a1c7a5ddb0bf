#include "ffmpeg/movies/CodecCodes.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

FourCC codeOf(AVCodecID codec, FourCC own = 0, bool isAvi = false)
{
    AVCodecParameters parameters {};
    parameters.codec_type = avcodec_get_type(codec);
    parameters.codec_id = codec;
    parameters.codec_tag = __builtin_bswap32(own);
    return dataFormatOf(parameters, isAvi);
}

AVCodecID codecOf(FourCC code, AVMediaType type)
{
    return type == AVMEDIA_TYPE_VIDEO ? videoCodecOf(code) : audioCodecOf(code);
}

bool isPrintable(FourCC code)
{
    std::string text = fourCharacterText(code);
    return std::all_of(text.begin(), text.end(), [](char c) { return c >= ' ' && c <= '~'; });
}

/// Codes that containers put beside codecs: none, wave formats, FLV's numbers, MPEG's stream types, and one of another
/// codec. Whatever it is, the answer is printable and leads back to something that can be decoded.
TEST(CodecCodesTest, WhatCanBeDecodedHasACodeThatSaysSo)
{
    int decoders = 0;
    for (const AVCodecDescriptor* codec = nullptr; (codec = avcodec_descriptor_next(codec));) {
        bool isMedia = codec->type == AVMEDIA_TYPE_VIDEO || codec->type == AVMEDIA_TYPE_AUDIO;
        if (!isMedia || !avcodec_find_decoder(codec->id))
            continue;
        ++decoders;
        for (FourCC own : { 0u, 0x02000000u, 0x11000000u, 0x46530000u, 0x1B000000u, fourCC("xyzw"), fourCC("enca") }) {
            for (bool isAvi : { false, true }) {
                FourCC code = codeOf(codec->id, own, isAvi);
                EXPECT_TRUE(isPrintable(code)) << codec->name << " " << code;
                EXPECT_TRUE(avcodec_find_decoder(codecOf(code, codec->type)))
                    << codec->name << " " << fourCharacterText(code);
            }
        }
    }
    EXPECT_GT(decoders, 300);
}

TEST(CodecCodesTest, SoundWithoutACodeInQuickTime)
{
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_TRUEHD)), "mlpa");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_MLP)), "mlp ");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_TTA)), "TTA1");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_WAVPACK)), "wvpk");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_PCM_BLURAY)), "lpcm");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_AAC_LATM)), "mp4a");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_METASOUND)), "meta");
    for (AVCodecID adpcm : { AV_CODEC_ID_ADPCM_MS, AV_CODEC_ID_ADPCM_YAMAHA, AV_CODEC_ID_ADPCM_SWF,
             AV_CODEC_ID_ADPCM_IMA_DK3, AV_CODEC_ID_ADPCM_IMA_DK4, AV_CODEC_ID_ADPCM_CT })
        EXPECT_EQ(fourCharacterText(codeOf(adpcm)), "adpc");
}

TEST(CodecCodesTest, PicturesWithoutACodeInQuickTime)
{
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_FFV1)), "FFV1");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_DIRAC)), "drac");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_RV40)), "RV40");
    EXPECT_EQ(fourCharacterText(codeOf(AV_CODEC_ID_RV10)), "rv10");
}

TEST(CodecCodesTest, AviPicturesKeepTheCodeOfTheFileIfItSaysWhatTheyAre)
{
    EXPECT_EQ(codeOf(AV_CODEC_ID_MPEG4, fourCC("XVID"), true), fourCC("XVID"));
    EXPECT_EQ(codeOf(AV_CODEC_ID_HEVC, fourCC("HEVC"), true), fourCC("HEVC"));
    EXPECT_EQ(codeOf(AV_CODEC_ID_HEVC, fourCC("H265"), true), fourCC("H265"));
    EXPECT_EQ(codeOf(AV_CODEC_ID_MPEG4, fourCC("xyzw"), true), fourCC("mp4v"));
    // Nobody decodes it, whatever it is called.
    EXPECT_EQ(codeOf(AV_CODEC_ID_NONE, fourCC("xyzw"), true), fourCC("xyzw"));
}

TEST(CodecCodesTest, UnknownCodecsHaveTheirOwnCodeOrNone)
{
    AVCodecParameters unknown {};
    unknown.codec_type = AVMEDIA_TYPE_AUDIO;
    EXPECT_EQ(dataFormatOf(unknown, false), 0u);
    unknown.codec_tag = __builtin_bswap32(fourCC("xyzw"));
    EXPECT_EQ(dataFormatOf(unknown, false), fourCC("xyzw"));
    EXPECT_EQ(audioCodecOf(fourCC("xyzw")), AV_CODEC_ID_NONE);
    EXPECT_EQ(audioCodecOf(0), AV_CODEC_ID_NONE);
    EXPECT_EQ(videoCodecOf(0), AV_CODEC_ID_NONE);
}

TEST(CodecCodesTest, NumbersOfWaveFormats)
{
    EXPECT_EQ(audioCodecOf(0x6D730002), AV_CODEC_ID_ADPCM_MS); // 'ms'
    EXPECT_EQ(audioCodecOf(0x54530002), AV_CODEC_ID_ADPCM_MS); // 'TS'
    EXPECT_EQ(audioCodecOf(0x6D730055), AV_CODEC_ID_MP3);
    EXPECT_EQ(audioCodecOf(0x6D737777), AV_CODEC_ID_NONE);
}

} // namespace
} // namespace mv
