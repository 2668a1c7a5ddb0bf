#pragma once

#include "Base/Core/Bytes.h"
#include "Base/Core/Result.h"

#include <cstdint>
#include <functional>

namespace mv {

struct AacEncoderSettings {
    std::uint32_t inputRate = 0; ///< of the frames that come in, Hz
    std::uint32_t rate = 0; ///< of the stream, one of AAC's own
    std::uint32_t channels = 0; ///< 1 to 8, in the usual order of that number of channels
    std::uint32_t bitRate = 0; ///< bit/s
    /// The first packets that nobody uses: the encoder takes over from another one in the middle of some sound, and may
    /// do what it likes in them so that it soon spends bits as one does that has heard all of it.
    std::uint32_t settlingPackets = 0;
};

/// An AAC encoder, used by one thread at a time. The code of its errors is an OSStatus.
class AacEncoder {
public:
    using PacketSink = std::function<Result<void>(ByteView packet)>;

    virtual ~AacEncoder() = default;
    virtual const Bytes& audioSpecificConfig() const = 0;
    virtual std::uint32_t framesPerPacket() const = 0;
    /// Frames that a decoder delivers before the first one that went in.
    virtual std::uint32_t primingFrames() const = 0;

    /// Takes `count` frames, one plane of floating-point samples for each channel.
    virtual Result<void> encode(const float* const* planes, std::uint32_t count, const PacketSink& sink) = 0;
    /// Encodes what is still inside. The number of frames that went into the stream, at the stream's rate.
    virtual Result<std::uint64_t> finish(const PacketSink& sink) = 0;
};

/// The sample rates that AAC has, and the one of them that is nearest.
std::uint32_t nearestAacRate(double rate);

} // namespace mv
