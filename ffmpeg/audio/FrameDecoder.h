#pragma once

#include "ffmpeg/audio/PacketFrames.h"

namespace mv {

/// Decodes a stream from its start to its end: frames with what the file declares as gap taken off the start, and off
/// the end unless told otherwise. A packet that cannot be decoded is left out; between two that can, silence
/// of its length stands in for it, where its length is known.
class FrameDecoder {
public:
    enum class End { Trimmed, Whole };

    /// `input` must outlive the decoder.
    FrameDecoder(AudioInput& input, End end);

    /// The next run of frames, valid until the next call; null at the end.
    struct Run {
        const AVFrame* frame = nullptr; ///< null at the end
        int first = 0; ///< of the frame's samples
        int count = 0;
    };
    Result<Run> next();

private:
    Result<void> feed();
    int receive();
    void noteDamage();
    Run trimmed();
    bool makeSilence();

    AudioInput& m_input;
    End m_end;
    PacketHandle m_packet;
    FrameHandle m_frame;
    FrameHandle m_silence;
    GapTrim m_trim;
    std::int64_t m_damaged = 0; // frames lost since the last good one
    bool m_anyGood = false;
    bool m_owed = false; // the packet that was fed must give a frame
    bool m_frameWaits = false; // m_frame is decoded, silence goes first
    bool m_draining = false;
};

} // namespace mv
