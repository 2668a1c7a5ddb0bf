#include "tests/movies/Clips.h"

#include "Base/Core/Text.h"

#include <cmath>
#include <cstdlib>
#include <stdexcept>

namespace mv::test {

std::string makeClip(const ScratchFolder& folder, const std::string& name, const std::string& arguments)
{
    std::string path = folder.file(name);
    outputOf("ffmpeg -nostdin -v error -y -threads 2 " + arguments + " " + shellQuoted(path) + " 2>&1");
    return path;
}

std::string movingPicture(int width, int height, int framesPerSecond, double seconds)
{
    return formatText(" -f lavfi -i testsrc2=size=%dx%d:rate=%d:duration=%g", width, height, framesPerSecond, seconds);
}

FfmpegFrames::FfmpegFrames(const std::string& clip, int width, int height)
    : m_width(width)
    , m_height(height)
{
    ScratchFolder folder;
    // ISO media have a timeline of their own, which ffmpeg would shift to the first frame.
    bool isIso = run("ffprobe -v error -show_entries format=format_name " + shellQuoted(clip) + " | grep -q mov,") == 0;
    std::string log = outputOf(formatText("ffmpeg -nostdin -hide_banner %s -i %s -an -sn -dn -fps_mode passthrough -vf "
                                          "scale=%d:%d:flags=area+accurate_rnd+full_chroma_int,showinfo -pix_fmt rgba "
                                          "-f rawvideo %s 2>&1",
        isIso ? "-copyts" : "", shellQuoted(clip).c_str(), width, height, folder.file("frames").c_str()));
    constexpr std::string_view Mark = "pts_time:";
    for (std::size_t at = log.find(Mark); at != std::string::npos; at = log.find(Mark, at + 1))
        m_times.push_back(std::strtod(log.c_str() + at + Mark.size(), nullptr));
    m_pixels = readFile(folder.file("frames"));
    if (m_times.empty() || m_pixels.size() != m_times.size() * frameSize())
        throw std::runtime_error("ffmpeg shows no frames of " + clip);
}

std::size_t FfmpegFrames::frameSize() const
{
    return static_cast<std::size_t>(m_width) * static_cast<std::size_t>(m_height) * 4;
}

Bitmap FfmpegFrames::shownAt(double time) const
{
    constexpr double PrintedDigits = 1e-6; // of showinfo's times
    std::size_t shown = 0;
    for (std::size_t i = 0; i < m_times.size() && m_times[i] <= time + PrintedDigits; ++i)
        shown = i;
    ByteView pixels = ByteView(m_pixels).subspan(shown * frameSize(), frameSize());
    return { m_width, m_height, Bytes(pixels.begin(), pixels.end()) };
}

double psnr(const Bitmap& a, const Bitmap& b)
{
    if (a.width != b.width || a.height != b.height || a.pixels.size() != b.pixels.size())
        return -1;
    double sum = 0;
    for (std::size_t i = 0; i < a.pixels.size(); ++i) {
        double difference = i % 4 == 3 ? 0 : double(a.pixels[i]) - double(b.pixels[i]);
        sum += difference * difference;
    }
    double mean = sum / (static_cast<double>(a.pixels.size()) * 3 / 4);
    return mean == 0 ? 99 : std::min(99.0, 10 * std::log10(255 * 255 / mean));
}

} // namespace mv::test
