#pragma once

#include <cstdint>
#include <string_view>

namespace mv {

/// FFmpeg's short name of a format tag of WAVE files; empty for one that is not known. `bits` are a sample's.
std::string_view codecOfWaveTag(std::uint16_t tag, std::uint16_t bits);
/// True for samples without compression.
bool isSampledWaveTag(std::uint16_t tag);

} // namespace mv
