#pragma once

#include "audio/AudioBackend.h"
#include "audio/AudioFile.h"
#include "audio/PcmConverter.h"

#include <memory>

namespace mv {

/// The client format that a file has until another is set; see ExtAudioFile.h. Pure.
AudioStreamBasicDescription defaultClientFormat(const AudioStreamBasicDescription& fileFormat);

/// An extended audio file that is open for reading: a source cut into the reads that a client asks for.
class AudioFileReader final : public AudioFile {
public:
    /// The code of an error is the OSStatus.
    static Result<std::unique_ptr<AudioFileReader>> open(const SharedSource& file);
    explicit AudioFileReader(std::unique_ptr<AudioSource> source);

    AudioStreamBasicDescription fileDataFormat() const override { return m_source->format().description; }
    AudioStreamBasicDescription clientDataFormat() const override { return m_clientFormat; }
    OSStatus setClientDataFormat(const AudioStreamBasicDescription& format) override;
    std::int64_t fileLengthFrames() const override { return m_source->format().frames; }
    AudioConverterRef audioConverter() override { return &m_converterHandle; }
    OSStatus read(std::uint32_t& frames, AudioBufferList& data) override;

private:
    OSStatus fill(std::uint8_t* target, std::uint32_t wanted, std::uint32_t& done);

    std::unique_ptr<AudioSource> m_source;
    AudioStreamBasicDescription m_clientFormat;
    PcmConverter m_converter;
    AudioConverter m_converterHandle; // decoding converters have no properties of their own
    DecodedFrames m_decoded; // what the source gave last, from m_used on still to be delivered
    std::uint32_t m_used = 0;
    std::int64_t m_delivered = 0;
    OSStatus m_failure = noErr;
};

} // namespace mv
