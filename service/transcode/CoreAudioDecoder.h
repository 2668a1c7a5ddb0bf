#pragma once

#include "service/transcode/AudioFileFunctions.h"
#include "service/transcode/MVAudioDecoder.h"

namespace mv {

/// Decodes every file that the extended audio file functions open. Failures are told by the result and by one
/// gated log line of the error level.
class CoreAudioDecoder final : public MVAudioDecoder {
public:
    CoreAudioDecoder();
    /// With other platform functions, which must outlive the decoder.
    explicit CoreAudioDecoder(const AudioFileFunctions& functions);
    ~CoreAudioDecoder() override;
    CoreAudioDecoder(const CoreAudioDecoder&) = delete;
    CoreAudioDecoder& operator=(const CoreAudioDecoder&) = delete;

    /// True for any file that the platform opens and closes again, whatever its format.
    bool canDecodeWithPath(const OpenedFile& file) override;
    /// On failure what was read so far stays in the format, and an open file stays open until the next call.
    bool prepareWithPath(const OpenedFile& file) override;
    /// `buffer` must not be null and must have a buffer, or NSInternalInconsistencyException is raised. The first
    /// buffer must have room for `sampleCount` frames of pcmFormat's size, or the answer is -1.
    std::int32_t readPCMSampleCount(AudioBufferList* buffer, std::uint32_t sampleCount) override;

    bool deliverExactStereo() override;

private:
    bool closeOpenFile();
    bool openFile(const OpenedFile& file);
    bool readFormat();

    const AudioFileFunctions& m_functions;
    ExtAudioFileRef m_decoderHandle = nullptr; // owned; null when nothing is open
};

} // namespace mv
