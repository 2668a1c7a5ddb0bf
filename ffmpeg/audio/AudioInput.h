#pragma once

#include "audio/AudioStatus.h"
#include "ffmpeg/Handles.h"
#include "ffmpeg/MediaInput.h"

namespace mv {

/// The first audio stream of a file, demuxed, with a decoder that has not begun. Error codes are OSStatus.
class AudioInput {
public:
    /// Rates and channels outside these are no sound that anything here can play; they keep sizes within bounds.
    static constexpr int MaxSampleRate = 768'000;
    static constexpr int MaxChannels = 64;

    static Result<AudioInput> open(const SharedSource& file);

    AVStream& stream() { return *m_stream; }
    /// As they were when the file was opened. The stream's own may change while it is read, when a frame says so.
    AVCodecParameters& parameters() const { return *m_parameters; }
    AVCodecContext& codec() { return *m_codec; }
    AVFormatContext& container() { return m_input->context(); }
    const ByteSource& file() const { return m_input->file(); }
    bool isContainer(std::string_view name) const;
    bool isIsoMedia() const { return m_input->isIsoMedia(); }
    /// Whether the file was cut, where its header tells.
    bool endsBeforeLastSample() const { return m_input->endsBeforeSamplesOf(*m_stream); }

    /// The stream's next whole packet; false at the end of the file. Packets that the end of the file cut off are
    /// left out, but for uncompressed samples, of which the whole ones count. AMR comes one frame at a time: the
    /// decoder takes no more, and containers pack several.
    Result<bool> read(AVPacket& packet);

private:
    AudioInput() = default;
    Result<void> chooseStream();
    Result<void> learnParameters();
    Result<void> openDecoder();
    Result<bool> readWhole(AVPacket& packet);

    std::unique_ptr<MediaInput> m_input;
    AVStream* m_stream = nullptr; // m_input's
    CodecParameters m_parameters;
    CodecContext m_codec;
    PacketHandle m_packed; // frames of a packet that are still to be handed out
};

/// Bytes of the AMR frame whose first byte this is; 0 where there is no such frame.
int amrFrameSize(AVCodecID id, std::uint8_t head);

/// True for uncompressed samples, logarithmic ones included.
bool isSampled(AVCodecID id);

} // namespace mv
