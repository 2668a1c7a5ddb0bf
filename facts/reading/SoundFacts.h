#pragma once

#include "facts/Facts.h"

#include <cmath>
#include <cstdint>
#include <string_view>

namespace mv {

/// What a stream of sound is; zeros and an empty name for what is not known.
struct SoundFacts {
    std::string_view codec;
    std::uint32_t sampleRate = 0;
    std::uint32_t channels = 0;
    std::uint32_t bitsPerSample = 0; ///< of lossless formats
    std::uint64_t bitrate = 0;
    std::int64_t length = 0; ///< microseconds
};

inline constexpr double MicrosecondsPerSecond = 1'000'000.0;

/// Microseconds of `count` units of 1/`rate` second, rounded; 0 where that is no time.
inline std::int64_t microsecondsOf(std::uint64_t count, std::uint64_t rate)
{
    double microseconds
        = rate == 0 ? 0 : static_cast<double>(count) / static_cast<double>(rate) * MicrosecondsPerSecond;
    constexpr double Longest = 9e18;
    return microseconds < Longest ? std::llround(microseconds) : 0;
}

/// Bit/s of bytes that last so long; 0 where they last no time.
inline std::uint64_t bitrateOf(std::uint64_t bytes, std::int64_t length)
{
    if (length <= 0)
        return 0;
    double bitrate = static_cast<double>(bytes) * 8 * MicrosecondsPerSecond / static_cast<double>(length);
    return bitrate < 4e9 ? static_cast<std::uint64_t>(bitrate + 0.5) : 0;
}

inline void putSound(Facts& facts, const SoundFacts& sound)
{
    auto putKnown = [&](std::string_view key, std::uint64_t value) {
        if (value != 0)
            facts.setUnsigned(key, value);
    };
    if (sound.length > 0)
        facts.set(fact::Length, sound.length);
    if (!sound.codec.empty())
        facts.set(fact::AudioCodec, std::string(sound.codec));
    putKnown(fact::SampleRate, sound.sampleRate);
    putKnown(fact::Channels, sound.channels);
    putKnown(fact::BitsPerSample, sound.bitsPerSample);
    putKnown(fact::Bitrate, sound.bitrate);
}

} // namespace mv
