#pragma once

#include "platform/ExtAudioFile.h"
#include "system/OpenedFile.h"

#include <cstdint>

namespace mv {

/// The shape of a decoded file. Filled by a successful prepareWithPath.
struct PcmFormat {
    std::int32_t samplerate = 0; ///< frames per second, the file's own rate truncated
    std::int32_t bitsperframe = 0; ///< declared for clients and never filled
    std::int32_t channels = 0;
    std::int32_t bitsperchannel = 0;
    std::int32_t bytespersample = 0; ///< of one frame across all channels
    std::int64_t framecount = 0;
};

/// A decoder of audio files: prepareWithPath once, then pcmFormat, then readPCMSampleCount until it returns 0 or -1.
/// Used on one thread at a time.
class MVAudioDecoderBase {
public:
    virtual ~MVAudioDecoderBase() = default;
    virtual PcmFormat pcmFormat() const = 0;
    /// Reads up to `sampleCount` frames into the first buffer of the list: the number read, 0 at the end, -1 on
    /// failure.
    virtual std::int32_t readPCMSampleCount(AudioBufferList* buffer, std::uint32_t sampleCount) = 0;
    /// Whether the file can be opened; leaves nothing open.
    virtual bool canDecodeWithPath(const OpenedFile& file) = 0;
    /// Opens the file and fills the format; a file that was open is closed first.
    virtual bool prepareWithPath(const OpenedFile& file) = 0;
};

/// What decoders share: the format record. The operations are placeholders that do nothing and answer 0.
class MVAudioDecoder : public MVAudioDecoderBase {
public:
    PcmFormat pcmFormat() const override { return m_pcmFormat; }
    std::int32_t readPCMSampleCount(AudioBufferList* buffer, std::uint32_t sampleCount) override;
    bool canDecodeWithPath(const OpenedFile& file) override;
    bool prepareWithPath(const OpenedFile& file) override;
    /// After prepareWithPath: from now on reads give two channels of signed 32-bit samples, exact in depth, mono on
    /// both, more than two channels mixed down. False where that cannot be done.
    virtual bool deliverExactStereo();

protected:
    PcmFormat m_pcmFormat;
};

} // namespace mv
