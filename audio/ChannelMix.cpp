#include "audio/ChannelMix.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cmath>

namespace mv {

namespace {

struct Weights {
    double left;
    double right;
};

constexpr double Minus3dB = 0.70710678118654752440;
constexpr Weights Left { 1, 0 };
constexpr Weights Right { 0, 1 };
constexpr Weights Centre { Minus3dB, Minus3dB };
constexpr Weights Silent { 0, 0 };
constexpr Weights LeftSide { Minus3dB, 0 };
constexpr Weights RightSide { 0, Minus3dB };
constexpr Weights Behind { 0.5, 0.5 };

// By speaker bit: front left, right, centre, bass, back left, right, left and right of centre, back centre, side left,
// right. Channels above them (overhead) are heard in the middle, quietly.
constexpr std::array<Weights, 11> SpeakerWeights {
    Left,
    Right,
    Centre,
    Silent,
    LeftSide,
    RightSide,
    LeftSide,
    RightSide,
    Behind,
    LeftSide,
    RightSide,
};

// Speakers by number of channels, where the file does not say: mono, stereo, 3.0, 4.0, 5.0, 5.1, 6.1, 7.1.
constexpr std::array<std::uint64_t, 9> UsualMasks { 0, 0x4, 0x3, 0x7, 0x33, 0x37, 0x3F, 0x70F, 0x63F };

std::vector<Weights> stereoWeights(std::uint32_t channels, std::uint64_t mask)
{
    if (static_cast<std::uint32_t>(std::popcount(mask)) != channels)
        mask = channels < UsualMasks.size() ? UsualMasks[channels] : 0;
    std::vector<Weights> weights;
    for (; mask != 0 && weights.size() < channels; mask &= mask - 1) {
        auto speaker = static_cast<std::size_t>(std::countr_zero(mask));
        weights.push_back(speaker < SpeakerWeights.size() ? SpeakerWeights[speaker] : Behind);
    }
    weights.resize(channels, Behind); // more channels than speakers are known
    return weights;
}

// Scaled down, never up, so that full scale in every channel is full scale.
void normalise(MixMatrix& matrix)
{
    double largest = 1;
    for (const auto& row : matrix) {
        double sum = 0;
        for (double weight : row)
            sum += weight;
        largest = std::max(largest, sum);
    }
    for (auto& row : matrix)
        for (double& weight : row)
            weight /= largest;
}

MixMatrix identity(std::uint32_t channels)
{
    MixMatrix matrix(channels, std::vector<double>(channels, 0.0));
    for (std::uint32_t i = 0; i < channels; ++i)
        matrix[i][i] = 1;
    return matrix;
}

} // namespace

MixMatrix mixMatrix(std::uint32_t channels, std::uint64_t mask, std::uint32_t outputs)
{
    if (channels == outputs)
        return identity(channels);
    if (channels == 1)
        return MixMatrix(outputs, { 1.0 });
    MixMatrix matrix(2);
    for (Weights weights : stereoWeights(channels, mask)) {
        matrix[0].push_back(weights.left);
        matrix[1].push_back(weights.right);
    }
    normalise(matrix);
    if (outputs == 2)
        return matrix;
    for (std::uint32_t i = 0; i < channels; ++i)
        matrix[0][i] = (matrix[0][i] + matrix[1][i]) / 2;
    matrix.pop_back();
    return matrix;
}

} // namespace mv
