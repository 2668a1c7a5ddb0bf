// The parser on real files, made by the ffmpeg program.
#include "Base/Core/ByteReader.h"
#include "Base/Media/MediaDB.h"
#include "service/parsers/QuickTimeAVParser.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <gtest/gtest.h>

namespace mv {
namespace {

const std::string kPictures = " -f lavfi -i testsrc2=size=64x48:rate=25:duration=0.4 ";
const std::string kSound = " -f lavfi -i sine=frequency=440:sample_rate=48000:duration=0.4 ";

class QuickTimeAVParserRealTest : public testing::Test {
protected:
    void SetUp() override
    {
        if (!test::haveProgram("ffmpeg"))
            GTEST_SKIP() << "the program ffmpeg is not installed";
    }
    std::string movie(const std::string& name, const std::string& codecs)
    {
        std::string path = m_folder.file(name);
        test::outputOf("ffmpeg -nostdin -v error -y " + kPictures + kSound + codecs + " " + path + " 2>&1");
        return path;
    }

    test::ScratchFolder m_folder;
    QuickTimeAVParser m_parser;
};

/// What is described only of a movie that validates.
void expectDescribed(const Record& record, const std::string& soundCodec)
{
    ASSERT_TRUE(record.string(MediaDBVideoColumnACodec));
    EXPECT_EQ(*record.string(MediaDBVideoColumnACodec), soundCodec);
    EXPECT_EQ(record.integer(MediaDBVideoColumnWidth), 64);
    EXPECT_EQ(record.integer(MediaDBVideoColumnHeight), 48);
    EXPECT_TRUE(record.contains(MediaDBVideoColumnImage));
    EXPECT_TRUE(record.contains(MediaDBVideoColumnPlayLength));
}

TEST_F(QuickTimeAVParserRealTest, SoundThatQuickTimeHasNoCodeForIsDescribed)
{
    struct {
        const char* name;
        const char* codecs;
        const char* soundCodec;
    } const cases[] = {
        { "truehd.mkv", "-c:v mpeg4 -c:a truehd -strict -2", "MLPA" },
        { "mlp.mkv", "-c:v mpeg4 -c:a mlp -strict -2", "MLP " },
        { "tta.mkv", "-c:v mpeg4 -c:a tta", "TTA1" },
        { "wavpack.mkv", "-c:v mpeg4 -c:a wavpack", "WVPK" },
        { "bluray.m2ts", "-c:v mpeg2video -c:a pcm_bluray -ac 2", "LPCM" },
        { "latm.ts", "-c:v mpeg2video -c:a aac -mpegts_flags latm", "MP4A" },
        { "yamaha.avi", "-c:v mpeg4 -c:a adpcm_yamaha", "ADPC" },
        { "microsoft.avi", "-c:v mpeg4 -c:a adpcm_ms", "ADPC" },
        { "swf.avi", "-c:v mpeg4 -c:a adpcm_swf -ar 44100", "ADPC" },
        { "swf.flv", "-c:v flv -c:a adpcm_swf -ar 44100", "ADPC" },
    };
    for (const auto& [name, codecs, soundCodec] : cases) {
        SCOPED_TRACE(name);
        expectDescribed(*m_parser.build(OpenedFile::at(movie(name, codecs))), soundCodec);
    }
}

/// Nothing here encodes this sound: a file of another kind is told to hold it.
TEST_F(QuickTimeAVParserRealTest, MetasoundIsDescribed)
{
    Bytes content = test::readFile(movie("a.asf", "-c:v wmv2 -c:a adpcm_ms"));
    const Bytes format { 0x02, 0, 0x01, 0, 0x80, 0xBB, 0, 0 }; // number, one channel, 48000
    auto place = std::search(content.begin(), content.end(), format.begin(), format.end());
    ASSERT_NE(place, content.end());
    *place = 0x75;
    expectDescribed(*m_parser.build(OpenedFile::at(m_folder.write("metasound.asf", content))), "META");
}

TEST_F(QuickTimeAVParserRealTest, PicturesThatQuickTimeHasNoCodeForAreDescribed)
{
    auto record = m_parser.build(OpenedFile::at(movie("a.mkv", "-c:v ffv1 -c:a aac")));
    expectDescribed(*record, "MP4A");
    EXPECT_EQ(*record->find(MediaDBVideoColumnVCodec), Value("FFV1"));
}

} // namespace
} // namespace mv
