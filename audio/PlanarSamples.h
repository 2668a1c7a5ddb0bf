#pragma once

#include <cmath>
#include <cstdint>
#include <cstring>

namespace mv {

/// Parts interleaved samples into a plane of floating-point samples for each channel; `convert` makes one of a Sample.
template <class Sample, class Convert>
void deinterleave(
    const std::uint8_t* from, std::size_t frames, std::size_t channels, float* const* planes, const Convert& convert)
{
    for (std::size_t channel = 0; channel < channels; ++channel) {
        float* to = planes[channel];
        for (std::size_t i = 0; i < frames; ++i) {
            Sample sample;
            std::memcpy(&sample, from + (i * channels + channel) * sizeof(Sample), sizeof(Sample));
            *to++ = convert(sample);
        }
    }
}

/// An encoder refuses what is no number; a decoder of floating-point files delivers it.
inline float finite(float sample) { return std::isfinite(sample) ? sample : 0.0f; }

} // namespace mv
