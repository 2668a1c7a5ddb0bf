#pragma once

#include "audio/AudioStatus.h"

namespace mv {

inline constexpr std::uint32_t kAudioConverterEncodeBitRate = 0x62726174; // 'brat'

/// What stands between the client format and the data of an extended audio file, which owns it.
class AudioConverter {
public:
    virtual ~AudioConverter() = default;
    virtual OSStatus setProperty(std::uint32_t property, std::uint32_t size, const void* data);
};

using AudioConverterRef = AudioConverter*;

/// paramErr for null; 'prop' where the converter has no such property (a decoding one has none).
OSStatus AudioConverterSetProperty(
    AudioConverterRef converter, std::uint32_t property, std::uint32_t size, const void* data);

} // namespace mv
