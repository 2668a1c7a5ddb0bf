#pragma once

#include <cstdint>
#include <optional>

namespace mv {

/// What sound is encoded to: an MP3 file, or AAC in an MPEG-4 file.
enum class SoundFormat : std::uint8_t { Mp3 = 1, Aac };
inline constexpr SoundFormat LastSoundFormat = SoundFormat::Aac;

/// How long an encoder may look for a good solution. AAC has one way.
enum class EncodingQuality : std::uint8_t { Fast = 1, Standard, Best };
inline constexpr EncodingQuality LastEncodingQuality = EncodingQuality::Best;

/// What becomes of the channels in an MP3: one, two of their own, or two that share what they have in common where that
/// saves bits. In the order of the encoder's codes.
enum class ChannelMode : std::uint8_t { Mono = 1, Stereo, Joint };
inline constexpr ChannelMode LastChannelMode = ChannelMode::Joint;

/// Bits a second that may be asked for; what an encoder cannot reach becomes the nearest that it can.
inline constexpr std::uint32_t MinEncodingBitrate = 8000;
inline constexpr std::uint32_t MaxEncodingBitrate = 320'000;
/// The most encoders that make one file at once: each takes memory.
inline constexpr std::uint32_t MaxEncodingCores = 16;

/// How a file is to be encoded.
struct EncodingWish {
    SoundFormat format = SoundFormat::Mp3;
    std::uint32_t bitrate = 192'000; ///< bit/s
    bool vbr = false; ///< of MP3: as many bits as each moment needs, whatever the bit rate
    EncodingQuality quality = EncodingQuality::Standard;
    bool tags = true; ///< carries the source's tags and pictures
    std::uint32_t cores = 1; ///< how many may work on the file at once; one gives the same bytes everywhere
    std::optional<ChannelMode> mode {}; ///< of MP3; unless set, mono stays mono and everything else is Joint

    bool operator==(const EncodingWish&) const = default;
};

} // namespace mv
