#include "platform/FileQTKit.h"
#include "platform/QTKit.h"
#include "tests/movies/Clips.h"

#include <gmock/gmock.h>

namespace mv {
namespace {

using test::makeClip;
using test::movingPicture;
using test::psnr;

struct ClipRow {
    const char* name;
    std::string arguments;
};

void PrintTo(const ClipRow& row, std::ostream* out) { *out << row.name; }

std::string source(double seconds = 2) { return movingPicture(320, 180, 25, seconds); }

/// Every kind of clip that needs a way of its own to the frame at a time.
const std::vector<ClipRow> kClips {
    { "h264.mp4", source() + " -c:v libx264 -preset veryfast -g 20 -bf 3 -pix_fmt yuv420p" },
    { "h264-full-range-709.mp4",
        source(1)
            + " -vf scale=out_range=full:out_color_matrix=bt709 -c:v libx264 -preset veryfast -pix_fmt yuvj420p "
              "-colorspace bt709 -color_range pc" },
    { "h264-one-key-frame.mov", source() + " -c:v libx264 -preset veryfast -g 500 -bf 3 -pix_fmt yuv420p" },
    { "h264-open-gop.mp4",
        source() + " -c:v libx264 -preset veryfast -g 15 -bf 3 -x264-params open-gop=1 -pix_fmt yuv420p" },
    { "hevc.mp4",
        source() + " -c:v libx265 -preset ultrafast -x265-params log-level=none:keyint=20:bframes=3 -tag:v hvc1" },
    { "hevc-10-bit.mp4",
        source(1) + " -c:v libx265 -preset ultrafast -x265-params log-level=none -pix_fmt yuv420p10le" },
    { "mpeg4.mp4", source() + " -c:v mpeg4 -g 20 -bf 2 -q:v 3" },
    { "mjpeg.mov", source() + " -c:v mjpeg -q:v 3" },
    { "prores.mov", source(1) + " -c:v prores_ks" },
    { "vp9.webm", source() + " -c:v libvpx-vp9 -deadline realtime -cpu-used 8 -g 20 -b:v 1M" },
    { "b-frames.avi", source() + " -c:v mpeg4 -g 20 -bf 2 -q:v 3 -vtag XVID" },
    { "h264.avi", source() + " -c:v libx264 -preset veryfast -g 20 -bf 3 -pix_fmt yuv420p" },
    { "h264.mkv", source() + " -c:v libx264 -preset veryfast -g 20 -bf 3 -pix_fmt yuv420p" },
    { "offset-start.mkv",
        source() + " -c:v libx264 -preset veryfast -g 20 -bf 3 -pix_fmt yuv420p -output_ts_offset 7.3" },
    { "late-pictures.mkv",
        source() + test::kTone + "3"
            + " -c:v libx264 -preset veryfast -g 20 -pix_fmt yuv420p -c:a aac -filter:v setpts=PTS+0.7/TB" },
    { "fragmented.mp4",
        source() + " -c:v libx264 -preset veryfast -g 20 -bf 2 -pix_fmt yuv420p -movflags frag_keyframe+empty_moov" },
    { "h264.ts", source() + " -c:v libx264 -preset veryfast -g 20 -bf 2 -pix_fmt yuv420p" },
    { "mpeg2.mpg", source() + " -c:v mpeg2video -g 15 -bf 2 -q:v 3" },
    { "flv1.flv", source() + " -c:v flv -g 20 -q:v 3" },
    { "pal.dv", movingPicture(720, 576, 25, 1) + " -c:v dvvideo -pix_fmt yuv420p" },
    { "wmv2.asf", source() + " -c:v wmv2 -g 20 -q:v 3" },
    { "theora.ogv", source() + " -c:v libtheora -g 20 -q:v 8" },
    { "uneven-times.mp4",
        source()
            + " -vf \"select='not(mod(n,7))+not(mod(n,5))'\" -fps_mode vfr -c:v libx264 -preset veryfast "
              "-pix_fmt yuv420p" },
};

class FrameTest : public testing::TestWithParam<ClipRow> {
protected:
    std::unique_ptr<QTMovie> open(const std::string& path)
    {
        auto movie = QTKit::shared().initWithFile(OpenedFile::at(path));
        EXPECT_TRUE(movie.ok()) << movie.error().text;
        return movie.ok() ? std::move(*movie) : nullptr;
    }

    test::ScratchFolder m_folder;
};

Bitmap pixelsOf(const std::optional<NSImage>& image, int width, int height)
{
    if (!image)
        return {};
    auto bitmap = image->representations().front()->scaledTo(width, height);
    return bitmap ? std::move(*bitmap) : Bitmap {};
}

/// The frame at each of these times is ffmpeg's, pixel by pixel but for the rounding of colours; scaled on the way, it
/// is the picture that ffmpeg makes of its frame.
TEST_P(FrameTest, TheFrameAtATimeIsTheOneShownThen)
{
    MV_NEEDS_FFMPEG();
    std::string clip = makeClip(m_folder, GetParam().name, GetParam().arguments);
    test::FfmpegFrames frames(clip, 320, 180);
    auto movie = open(clip);
    ASSERT_TRUE(movie);
    double duration = 0;
    ASSERT_TRUE(QTGetTimeInterval(movie->duration(), &duration));
    // Backwards and forwards, on frames' edges and between them.
    for (double time : { 0.0, 0.3, 1.0, 0.5, 0.999, 0.02, 1.0 / 3, duration - 0.01 }) {
        if (time >= duration)
            continue;
        auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(time));
        ASSERT_TRUE(image) << time;
        EXPECT_GT(psnr(pixelsOf(image, 320, 180), frames.shownAt(time)), 45) << time;
    }
    EXPECT_GT(psnr(pixelsOf(movie->posterImage(), 320, 180), frames.shownAt(0)), 45);
    auto image = movie->frameImageAtTime(QTMakeTimeWithTimeInterval(0.9));
    EXPECT_GT(psnr(pixelsOf(image, 130, 73), test::shownByFfmpeg(clip, 0.9, 130, 73)), 35);

    EXPECT_FALSE(movie->frameImageAtTime(movie->duration()));
    EXPECT_FALSE(movie->frameImageAtTime(QTMakeTimeWithTimeInterval(duration + 5)));
}

std::string testName(const testing::TestParamInfo<ClipRow>& row)
{
    std::string name = row.param.name;
    std::replace_if(
        name.begin(), name.end(), [](char c) { return c == '.' || c == '-'; }, '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Clips, FrameTest, testing::ValuesIn(kClips), testName);

} // namespace
} // namespace mv
