#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <optional>

namespace mv {

/// The four bytes in front of every MPEG audio frame (ISO 11172-3, 13818-3, and the 2.5 extension to low rates).
struct MpegHeader {
    static constexpr std::size_t Size = 4;
    /// Above every frame of a fixed bit rate: layer II at 384 kbit/s and 32 kHz takes 1729 bytes, layer I at 448
    /// kbit/s 672.
    static constexpr std::size_t MaxFrameSize = 1732;

    enum class Version : std::uint8_t { Mpeg1, Mpeg2, Mpeg25 };

    Version version = Version::Mpeg1;
    int layer = 3;
    int bitrate = 0; ///< bit/s; 0 for the free format, whose frames tell it by their distance only
    int sampleRate = 0; ///< Hz
    int samplesPerFrame = 0;
    bool isMono = false;
    bool isProtected = false; ///< 16 bits of check sum behind the header
    bool isPadded = false;

    /// Nothing without the sync bits and where a field has a reserved value.
    static std::optional<MpegHeader> parse(ByteView bytes);

    bool isFreeFormat() const { return bitrate == 0; }
    int slotSize() const { return layer == 1 ? 4 : 1; }
    /// Bytes from this header to the next, 0 for the free format.
    std::size_t frameSize() const;
    /// True when both may be frames of one stream: these fields never change within one.
    bool continues(const MpegHeader& other) const
    {
        return version == other.version && layer == other.layer && sampleRate == other.sampleRate
            && isFreeFormat() == other.isFreeFormat();
    }
};

} // namespace mv
