#pragma once

#include "audio/AudioBackend.h"
#include "audio/AudioStatus.h"
#include "audio/ChannelMix.h"

#include <vector>

namespace mv {

/// Turns decoded frames into a client format. Integers are widened by shifting and narrowed by dropping low bits;
/// floating-point samples are scaled by half the range of the target, rounded to the nearest (ties to even) and
/// clipped, and what is not a number becomes 0; integers become floats below 1.
class PcmConverter {
public:
    /// Whether `client` is a format that frames of `source` can be turned into: noErr,
    /// kExtAudioFileError_NonPCMClientFormat or kExtAudioFileError_InvalidDataFormat.
    static OSStatus check(const AudioSourceFormat& source, const AudioStreamBasicDescription& client);

    /// Only for formats that check() accepts.
    PcmConverter(const AudioSourceFormat& source, const AudioStreamBasicDescription& client);

    /// Writes `count` frames from frame `first` of `frames` to `target`, which has room for them.
    void convert(const DecodedFrames& frames, std::uint32_t first, std::uint32_t count, std::uint8_t* target);

private:
    enum class Target { Signed8, Signed16, Signed24MostFirst, Signed32, Float32 };
    struct Plane; // one channel's samples on the way in
    struct Sink; // and on the way out

    static Plane planeOf(const DecodedFrames& frames, std::uint32_t channel, std::uint32_t first);
    bool isTarget(SampleKind kind) const;
    template <class Load> void store(Load load, std::uint32_t count, const Sink& sink) const;
    void convertChannel(const Plane& plane, std::uint32_t count, const Sink& sink) const;
    void mixChannel(const DecodedFrames& frames, std::uint32_t first, std::uint32_t count,
        const std::vector<double>& weights, const Sink& sink);

    Target m_target;
    std::uint32_t m_frameSize;
    std::uint32_t m_sampleSize;
    MixMatrix m_matrix;
    bool m_keepsChannels;
    std::vector<double> m_mixed;
};

} // namespace mv
