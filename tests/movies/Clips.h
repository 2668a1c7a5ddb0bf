#pragma once

#include "platform/NSImage.h"
#include "tests/support/Scratch.h"

#include <string>
#include <vector>

namespace mv::test {

/// Makes a clip by the ffmpeg program: `arguments` stand between "ffmpeg" and the output's name.
std::string makeClip(const ScratchFolder& folder, const std::string& name, const std::string& arguments);

/// The moving picture that clips are made of: `seconds` long, every frame different.
std::string movingPicture(int width, int height, int framesPerSecond, double seconds);
inline const std::string kTone = " -f lavfi -i sine=frequency=440:sample_rate=44100:duration=";

/// All frames of a clip as ffmpeg decodes, turns and scales them.
class FfmpegFrames {
public:
    FfmpegFrames(const std::string& clip, int width, int height);

    /// The frame that is shown at `time` seconds: the last one that starts at or before it, counted from the start of
    /// the file, in ISO media from that of the movie; the first one where all start later.
    Bitmap shownAt(double time) const;

private:
    std::size_t frameSize() const;

    int m_width;
    int m_height;
    std::vector<double> m_times;
    Bytes m_pixels;
};

inline Bitmap shownByFfmpeg(const std::string& clip, double time, int width, int height)
{
    return FfmpegFrames(clip, width, height).shownAt(time);
}

/// Peak signal-to-noise ratio of the colours in decibels; 99 for equal pictures, -1 for different sizes.
double psnr(const Bitmap& a, const Bitmap& b);

} // namespace mv::test

/// Skips the test, with a reason, where the ffmpeg program is absent.
#define MV_NEEDS_FFMPEG()                                                                                              \
    if (!::mv::test::haveProgram("ffmpeg"))                                                                            \
    GTEST_SKIP() << "the program ffmpeg is not installed"
