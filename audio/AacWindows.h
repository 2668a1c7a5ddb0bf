#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

/// The windows of a packet of AAC (low complexity): what its sound fades in and out with.
struct AacWindows {
    enum class Sequence : std::uint8_t { Long, Start, Short, Stop };

    Sequence sequence = Sequence::Long;
    bool isKaiser = false; ///< the shape of what it fades out with; else a sine

    bool operator==(const AacWindows&) const = default;
};

/// The windows of all channels of a packet for 1 or 2 channels. Nothing where two channels have windows of their own,
/// or where the packet has something in front of its sound, or in it, that an encoder of this profile does not make.
std::optional<AacWindows> aacWindowsOf(ByteView packet, std::uint32_t channels);

} // namespace mv
