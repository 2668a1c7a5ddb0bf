#include "tests/service/transcode/MadeSound.h"

#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <fstream>
#include <numbers>
#include <random>

namespace mv::test {

namespace {

std::int16_t sample(double value) { return static_cast<std::int16_t>(32767 * std::clamp(value, -1.0, 1.0)); }

} // namespace

Signal MadeSound::sine() const
{
    Signal signal;
    for (std::size_t i = 0; i < length; ++i) {
        double turns = 2 * std::numbers::pi * static_cast<double>(i) / rate;
        signal.insert(signal.end(), { sample(0.4 * std::sin(440 * turns)), sample(0.3 * std::sin(997 * turns)) });
    }
    return signal;
}

Signal MadeSound::silence() const { return Signal(2 * length); }

Signal MadeSound::impulses() const
{
    Signal signal(2 * length);
    for (std::size_t i = 0; i < length; i += 7919)
        signal[2 * i] = sample(0.8);
    for (std::size_t i = 3; i < length; i += 11'003)
        signal[2 * i + 1] = sample(-0.6);
    return signal;
}

Signal MadeSound::noise() const
{
    std::mt19937 random(1);
    Signal signal;
    for (std::size_t i = 0; i < 2 * length; ++i)
        signal.push_back(sample(0.2 * (static_cast<double>(random() % 65'536) / 32'768 - 1)));
    return signal;
}

Signal MadeSound::speech() const
{
    std::mt19937 random(2);
    Signal signal;
    double phase = 0;
    double pitch = 120;
    double loudness = 0;
    double wanted = 0;
    std::array<std::array<double, 2>, 3> state {};
    constexpr std::array Resonances { 500.0, 1500.0, 2600.0 };
    for (std::size_t i = 0; i < length; ++i) {
        if (i % 5292 == 0) {
            wanted = random() % 3 == 0 ? 0.01 : 0.1 + static_cast<double>(random() % 100) / 400;
            pitch = 90 + static_cast<double>(random() % 130);
        }
        loudness += (wanted - loudness) / 400;
        phase += pitch / rate;
        double buzz = phase >= 1 ? 1 : 0.01 * (static_cast<double>(random() % 2000) / 1000 - 1);
        phase -= std::floor(phase);
        double sum = 0;
        for (std::size_t k = 0; k < Resonances.size(); ++k) {
            constexpr double Decay = 0.99;
            double out = buzz + 2 * Decay * std::cos(2 * std::numbers::pi * Resonances[k] / rate) * state[k][0]
                - Decay * Decay * state[k][1];
            state[k] = { out, state[k][0] };
            sum += out / static_cast<double>(k + 1);
        }
        signal.insert(signal.end(), { sample(loudness * sum / 2), sample(0.8 * loudness * sum / 2) });
    }
    return signal;
}

Signal firstChannel(const Signal& signal)
{
    Signal one;
    for (std::size_t i = 0; i < signal.size(); i += 2)
        one.push_back(signal[i]);
    return one;
}

void writeWave(const std::string& path, const Signal& signal, int rate, int channels)
{
    WaveMaker wave;
    wave.format(1, static_cast<std::uint16_t>(channels), static_cast<std::uint32_t>(rate), 16);
    wave.chunk("data", { reinterpret_cast<const std::uint8_t*>(signal.data()), signal.size() * 2 });
    std::ofstream(path, std::ios::binary) << charsOf(wave.bytes());
}

Signal decoded(const std::string& command)
{
    std::string text = outputOf(command);
    Signal signal;
    for (std::size_t i = 0; i + 1 < text.size(); i += 2)
        signal.push_back(static_cast<std::int16_t>(
            static_cast<std::uint8_t>(text[i]) | static_cast<std::uint8_t>(text[i + 1]) << 8));
    return signal;
}

double signalToNoise(const Signal& wanted, const Signal& heard, std::size_t begin, std::size_t count)
{
    double signal = 1;
    double rest = 1;
    for (std::size_t i = begin; i < begin + count; ++i) {
        signal += static_cast<double>(wanted[i]) * wanted[i];
        double difference = static_cast<double>(wanted[i]) - heard[i];
        rest += difference * difference;
    }
    return 10 * std::log10(signal / rest);
}

} // namespace mv::test
