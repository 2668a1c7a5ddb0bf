#pragma once

#include "audio/AudioBackend.h"
#include "ffmpeg/audio/FrameCount.h"

#include <array>

namespace mv {

/// An audio file decoded by FFmpeg. Runs of another rate or other channels than the file began with are converted to
/// those.
class FfmpegAudioSource final : public AudioSource {
public:
    static Result<std::unique_ptr<AudioSource>> open(const SharedSource& file);

    const AudioSourceFormat& format() const override { return m_format; }
    Result<DecodedFrames> next() override;

private:
    FfmpegAudioSource(AudioInput input, FrameDecoder::End end);
    bool needsConversion(const AVFrame& frame) const;
    Result<DecodedFrames> converted(const FrameDecoder::Run& run);
    int resample(const AVFrame& part);
    DecodedFrames present(const AVFrame& frame, int first, int count);

    AudioInput m_input;
    FrameDecoder m_decoder;
    AudioSourceFormat m_format;
    Resampler m_resampler;
    FrameHandle m_converted;
    std::array<const std::uint8_t*, AudioInput::MaxChannels> m_planes {};
};

} // namespace mv
