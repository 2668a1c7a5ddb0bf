#include "Base/Core/ByteReader.h"
#include "platform/QTKit.h"

#include <gtest/gtest.h>

namespace mv {
namespace {

OSType codeOf(const std::string& text)
{
    ByteReader reader(bytesOf(text));
    return reader.u32be();
}

bool installed(const char* type, const std::string& subType)
{
    return QTKit::shared().findNextComponent({ codeOf(type), codeOf(subType) });
}

TEST(ComponentTest, ImageDecompressors)
{
    for (const char* format : { "avc1", "avc3", "hvc1", "hev1", "mp4v", "s263", "h263", "jpeg", "mjpa", "apch", "apcn",
             "ap4h", "vp09", "vp08", "av01", "SVQ1", "SVQ3", "cvid", "raw ", "rle ", "png ", "dvc ", "XVID", "DIVX",
             "MJPG", "MP42", "WMV2", "mp2v", "H264", "FLV1" })
        EXPECT_TRUE(installed("imdc", format)) << format;
    for (const char* format : { "xyzw", "mp4a", "encv", "drmi" })
        EXPECT_FALSE(installed("imdc", format)) << format;
    EXPECT_FALSE(QTKit::shared().findNextComponent({ fourCC("imdc"), 0 }));
}

TEST(ComponentTest, SoundDecompressors)
{
    for (const char* format : { "mp4a", ".mp3", "alac", "ac-3", "ec-3", "samr", "sawb", "ima4", "fLaC", "Opus", "QDM2",
             "QDMC", "MAC3", "WMA2", "XiVs" }) {
        EXPECT_TRUE(installed("sdec", format)) << format;
        EXPECT_TRUE(installed("adec", format)) << format;
    }
    EXPECT_TRUE(QTKit::shared().findNextComponent({ fourCC("sdec"), 0x6D730055 })); // 'ms' and MP3's wave number
    for (const char* format : { "xyzw", "avc1", "enca", "drms" }) {
        EXPECT_FALSE(installed("sdec", format)) << format;
        EXPECT_FALSE(installed("adec", format)) << format;
    }
}

TEST(ComponentTest, PlainSoundNeedsNoDecompressor)
{
    for (const char* format : { "sowt", "twos", "raw ", "in24", "in32", "fl32", "fl64", "ulaw", "alaw" }) {
        EXPECT_TRUE(installed("sdec", format)) << format;
        EXPECT_FALSE(installed("adec", format)) << format;
    }
}

TEST(ComponentTest, MediaHandlers)
{
    for (const char* type : { "vide", "soun", "text", "sbtl", "subt", "clcp", "tmcd", "hint", "musi", "MPEG", "meta",
             "mp4s", "sdsm", "odsm", "gnrc", "sprt", "flsh" })
        EXPECT_TRUE(installed("mhlr", type)) << type;
    EXPECT_FALSE(installed("mhlr", "odd "));
    EXPECT_FALSE(installed("mhlr", "data"));
}

TEST(ComponentTest, OtherKindsOfComponentsAreNotThere)
{
    EXPECT_FALSE(installed("spit", "MPEG"));
    EXPECT_FALSE(installed("imco", "avc1"));
}

TEST(QTTimeTest, SecondsBothWays)
{
    EXPECT_EQ(QTMakeTimeWithTimeInterval(10.8f), (QTTime { 10'800'000, 1'000'000 }));
    EXPECT_EQ(QTMakeTimeWithTimeInterval(3.0), (QTTime { 3'000'000, 1'000'000 }));
    double seconds = 7;
    EXPECT_FALSE(QTGetTimeInterval({ 5, 0 }, &seconds));
    EXPECT_EQ(seconds, 7);
    EXPECT_TRUE(QTGetTimeInterval({ 60'300, 600 }, &seconds));
    EXPECT_EQ(seconds, 100.5);
}

TEST(QTMovieTest, SampleDescriptionsCountFromOne)
{
    QTMedia media { fourCC("vide"), { fourCC("avc1"), fourCC("mp4v") } };
    EXPECT_EQ(GetMediaSampleDescriptionCount(media), 2u);
    EXPECT_EQ(GetMediaSampleDescription(media, 1), fourCC("avc1"));
    EXPECT_EQ(GetMediaSampleDescription(media, 2), fourCC("mp4v"));
    EXPECT_EQ(GetMediaSampleDescription(media, 0), std::nullopt);
    EXPECT_EQ(GetMediaSampleDescription(media, 3), std::nullopt);
}

} // namespace
} // namespace mv
