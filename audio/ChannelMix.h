#pragma once

#include <cstdint>
#include <vector>

namespace mv {

/// For each output channel one weight for each input channel.
using MixMatrix = std::vector<std::vector<double>>;

/// How `channels` channels become `outputs`. Equal numbers pass through. One channel goes to every output at full
/// level. To two: front left and right at 1, centre, side and back channels at -3 dB on their sides, the bass
/// channel left out, then all scaled so that nothing can clip. To one: the mean of those two. `mask` says which
/// speaker each channel is for (bits of WAVE files, in order); without it the usual order for the number of channels
/// is taken. `outputs` other than 1, 2 and `channels`: not asked for.
MixMatrix mixMatrix(std::uint32_t channels, std::uint64_t mask, std::uint32_t outputs);

} // namespace mv
