#include "Base/Core/ByteReader.h"
#include "platform/MovieToolbox.h"
#include "tests/movies/Clips.h"

#include <algorithm>
#include <cstdlib>
#include <gmock/gmock.h>

namespace mv {
namespace {

using test::kTone;
using test::makeClip;
using test::movingPicture;
using test::outputOf;

std::string probed(const std::string& file, const std::string& what)
{
    return outputOf("ffprobe -v error -show_entries " + what + " -of csv=p=0 " + test::shellQuoted(file));
}

double number(const std::string& text) { return std::strtod(text.c_str(), nullptr); }

OSStatus note(Movie&, std::int16_t message, std::int16_t, Fixed percentDone, void* context)
{
    if (message == movieProgressUpdatePercent)
        static_cast<std::vector<int>*>(context)->push_back(Fix2Long(FixMul(percentDone, Long2Fix(100))));
    return noErr;
}

class PassThroughTest : public testing::Test {
protected:
    void SetUp() override { MV_NEEDS_FFMPEG(); }

    OSStatus exportTo(const std::string& target, const std::string& source,
        MovieExporter exporter = { { fourCC("mp42"), true, true, false, 1450 } })
    {
        MovieToolbox& toolbox = MovieToolbox::shared();
        std::unique_ptr<Movie> movie;
        OSStatus status = toolbox.NewMovieFromDataRef(movie, newMovieActive, { { OpenedFile::at(source), nullptr } });
        if (status != noErr)
            return status;
        toolbox.SetMovieProgressProc(*movie, note, &m_percents);
        DataReference made { { OpenedFile(target), std::move(*OutputFile::create(target)) } };
        return toolbox.ConvertMovieToDataRef(*movie, made, fourCC("mpg4"), fourCC("TVOD"), 0, exporter);
    }

    test::ScratchFolder m_folder;
    std::string m_target = m_folder.file("out.mp4");
    std::vector<int> m_percents;
};

TEST_F(PassThroughTest, StreamsThatCountFromAnywhereBeginAtZero)
{
    std::string both = movingPicture(64, 64, 25, 2) + kTone + "2 -c:v mpeg2video -c:a mp2 -output_ts_offset 7 ";
    for (const char* name : { "a.ts", "a.mpg", "a.mkv" }) {
        std::string source = makeClip(m_folder, name, both);
        ASSERT_GT(number(probed(source, "format=start_time")), 6.5) << name;
        ASSERT_EQ(exportTo(m_target, source), noErr) << name;
        EXPECT_LT(number(probed(m_target, "format=start_time")), 0.2) << name;
        EXPECT_NEAR(number(probed(m_target, "format=duration")), 2, 0.2) << name;
    }
}

TEST_F(PassThroughTest, TheDelayOfIsoMediaStays)
{
    std::string source = makeClip(m_folder, "a.mp4",
        movingPicture(64, 64, 25, 2) + " -c:v mpeg4 -output_ts_offset 1 -avoid_negative_ts disabled");
    ASSERT_NEAR(number(probed(source, "format=start_time")), 1, 0.1);
    ASSERT_EQ(exportTo(m_target, source), noErr);
    EXPECT_NEAR(number(probed(m_target, "format=start_time")), 1, 0.1);
    EXPECT_EQ(probed(m_target, "format=duration"), probed(source, "format=duration"));
}

TEST_F(PassThroughTest, AStreamThatComesLateIsLeftOut)
{
    // Behind so many bytes nobody looks for streams that the header does not list.
    std::string pictures = makeClip(m_folder, "pictures.mpg",
        movingPicture(640, 480, 25, 10) + " -c:v mpeg2video -b:v 4M -minrate 4M -maxrate 4M -bufsize 2M");
    std::string both
        = makeClip(m_folder, "both.mpg", movingPicture(640, 480, 25, 1) + kTone + "1 -c:v mpeg2video -c:a mp2");
    std::string joined = m_folder.file("joined.mpg");
    // The length is looked for at the end, so more pictures follow.
    std::string parts = test::shellQuoted(pictures) + " " + test::shellQuoted(both) + " " + test::shellQuoted(pictures);
    ASSERT_EQ(test::run("cat " + parts + " >" + test::shellQuoted(joined)), 0);
    ASSERT_EQ(exportTo(m_target, joined), noErr);
    EXPECT_THAT(probed(m_target, "stream=codec_type"), testing::Not(testing::HasSubstr("audio")));
    EXPECT_GT(number(probed(m_target, "format=duration")), 9.9);
}

TEST_F(PassThroughTest, FramesShorterThanTheirHeadersAreNotHinted)
{
    // Silence: a frame has six bytes, its ADTS header seven.
    std::string source = makeClip(m_folder, "a.aac", " -f lavfi -i anullsrc=r=44100:cl=mono -t 2 -c:a aac");
    MovieExporter exporter { { fourCC("mp42"), true, true, true, 1450 } };
    ASSERT_EQ(exportTo(m_target, source, exporter), noErr);
    EXPECT_EQ(probed(m_target, "stream=codec_name"), "aac\n");
    EXPECT_NEAR(number(probed(m_target, "format=duration")), 2, 0.1);
}

TEST_F(PassThroughTest, APercentIsReportedOnce)
{
    std::string source = makeClip(m_folder, "a.mp4", movingPicture(64, 64, 25, 20) + kTone + "20 -c:v mpeg4 -c:a aac");
    ASSERT_EQ(exportTo(m_target, source), noErr);
    EXPECT_GT(m_percents.size(), 90u);
    EXPECT_LE(m_percents.size(), 101u);
    EXPECT_TRUE(std::is_sorted(m_percents.begin(), m_percents.end()));
}

} // namespace
} // namespace mv
