// bench_segments mp3|aac CORES SECONDS: how so much sound of 44.1 kHz is cut for several encoders, in seconds: what two
// segments have in common, then the length of each.

#include "service/transcode/AacSegments.h"
#include "service/transcode/Mp3Segments.h"

#include <cstdio>
#include <cstdlib>
#include <string_view>

using namespace mv;

int main(int count, char** arguments)
{
    if (count != 4)
        return 2;
    constexpr double Rate = 44'100;
    const SegmentShape shape
        = std::string_view(arguments[1]) == "mp3" ? Mp3Segments::shape(1152) : AacSegments::shape(1024);
    const double samples = std::atof(arguments[3]) * Rate;
    const SegmentPlan plan(static_cast<unsigned>(std::atoi(arguments[2])), static_cast<std::uint64_t>(samples), shape);
    std::printf("%.4f\n", static_cast<double>(shape.sharedFrames * shape.frameSize) / Rate);
    double left = samples;
    for (std::size_t number = 0; left > 0; ++number) {
        auto length = static_cast<double>(plan.chunks(number) * shape.chunkSamples());
        // What is left of a chunk is the last segment's.
        if (left - length < static_cast<double>(shape.chunkSamples()))
            length = left;
        std::printf("%.4f\n", length / Rate);
        left -= length;
    }
    return 0;
}
