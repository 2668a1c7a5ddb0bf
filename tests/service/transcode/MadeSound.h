#pragma once

#include <cstdint>
#include <string>
#include <vector>

namespace mv::test {

/// Samples of 16 bits, two channels side by side.
using Signal = std::vector<std::int16_t>;

/// Sounds that show what an encoder does, the same every time.
struct MadeSound {
    int rate;
    std::size_t length; ///< samples of each channel

    Signal sine() const;
    Signal silence() const;
    Signal impulses() const;
    Signal noise() const;
    /// A pitched buzz through three resonances, in syllables with breath between them.
    Signal speech() const;
};

/// The first channel alone.
Signal firstChannel(const Signal& signal);
void writeWave(const std::string& path, const Signal& signal, int rate, int channels);

/// What a shell command writes.
Signal decoded(const std::string& command);
/// Decibels of `count` values from `begin` on; of silence that stays silent none.
double signalToNoise(const Signal& wanted, const Signal& heard, std::size_t begin, std::size_t count);

} // namespace mv::test
