#pragma once

#include "Base/Core/ByteReader.h"

#include <cstdint>

namespace mv {

/// The shape of an audio stream. Fields that a format leaves open are 0. Native byte order, 40 bytes: clients of the
/// property functions state that size.
struct AudioStreamBasicDescription {
    double mSampleRate = 0; ///< frames per second
    std::uint32_t mFormatID = 0; ///< four-character code
    std::uint32_t mFormatFlags = 0;
    std::uint32_t mBytesPerPacket = 0; ///< 0 when it varies
    std::uint32_t mFramesPerPacket = 0; ///< 0 when it varies
    std::uint32_t mBytesPerFrame = 0; ///< 0 for compressed formats
    std::uint32_t mChannelsPerFrame = 0;
    std::uint32_t mBitsPerChannel = 0; ///< 0 for compressed formats, but for FLAC: the depth it was made from
    std::uint32_t mReserved = 0;

    bool operator==(const AudioStreamBasicDescription&) const = default;
};
static_assert(sizeof(AudioStreamBasicDescription) == 40);

inline constexpr std::uint32_t kAudioFormatLinearPCM = fourCC("lpcm");
inline constexpr std::uint32_t kAudioFormatAppleLossless = fourCC("alac");
inline constexpr std::uint32_t kAudioFormatMPEG4AAC = fourCC("aac ");
inline constexpr std::uint32_t kAudioFormatMPEGLayer3 = fourCC(".mp3");
inline constexpr std::uint32_t kAudioFormatFLAC = fourCC("flac");

// Flags of kAudioFormatLinearPCM.
inline constexpr std::uint32_t kAudioFormatFlagIsFloat = 1u << 0;
inline constexpr std::uint32_t kAudioFormatFlagIsBigEndian = 1u << 1;
inline constexpr std::uint32_t kAudioFormatFlagIsSignedInteger = 1u << 2;
inline constexpr std::uint32_t kAudioFormatFlagIsPacked = 1u << 3;
inline constexpr std::uint32_t kAudioFormatFlagIsAlignedHigh = 1u << 4;
inline constexpr std::uint32_t kAudioFormatFlagIsNonInterleaved = 1u << 5;

// Flags of kAudioFormatAppleLossless and kAudioFormatFLAC: the depth of the source.
inline constexpr std::uint32_t kAppleLosslessFormatFlag_16BitSourceData = 1;
inline constexpr std::uint32_t kAppleLosslessFormatFlag_20BitSourceData = 2;
inline constexpr std::uint32_t kAppleLosslessFormatFlag_24BitSourceData = 3;
inline constexpr std::uint32_t kAppleLosslessFormatFlag_32BitSourceData = 4;

/// Interleaved packed samples, one frame a packet; `flags` without the packed flag.
constexpr AudioStreamBasicDescription linearPcm(
    double sampleRate, std::uint32_t channels, std::uint32_t bits, std::uint32_t flags)
{
    std::uint32_t frame = (bits + 7) / 8 * channels;
    return { sampleRate, kAudioFormatLinearPCM, flags | kAudioFormatFlagIsPacked, frame, 1, frame, channels, bits, 0 };
}

} // namespace mv
