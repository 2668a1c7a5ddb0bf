#include "fuzz/pictures/ReaderFuzz.h"
#include "pictures/jpeg/JpegOutline.h"
#include "pictures/jpeg/JpegReader.h"
#include "pictures/jpeg/JpegShrinker.h"

// The first byte chooses how the rest is shrunk.
extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size)
{
    if (size < 1)
        return 0;
    auto source = mv::sourceOfBytes(mv::Bytes(data + 1, data + size));
    constexpr mv::JpegColors Colors[] { mv::JpegColors::Gray, mv::JpegColors::Ycc, mv::JpegColors::Rgb,
        mv::JpegColors::Cmyk, mv::JpegColors::Ycck };
    // Readers state the size that they have checked; so does this.
    auto outline = mv::outlineOfJpeg(*source);
    mv::Bytes frame(9);
    if (!outline || source->readUpTo(outline->frameOffset, frame) != frame.size())
        return 0;
    int height = frame[5] << 8 | frame[6];
    int width = frame[7] << 8 | frame[8];
    if (width < 1 || height < 1 || std::int64_t { width } * height > mv::fuzz::MaxPixels)
        return 0;
    mv::JpegShrinkPlan plan { 1 + (data[0] & 3), (data[0] & 4) != 0, Colors[(data[0] >> 3) % 5], (data[0] & 128) != 0,
        width, height };
    mv::Resampler resampler(10, 10);
    auto taken = mv::JpegShrinker(*source, plan).deliver(resampler);
    if (taken && *taken)
        (void)resampler.finish();
    return mv::fuzz::decodeWith<mv::JpegReader>(data + 1, size - 1);
}
