#pragma once

#include "ffmpeg/audio/AudioInput.h"

namespace mv {

/// The frames that a packet of the stream stands for, whether it can be decoded or not: by the packet's own header
/// for MPEG audio and Apple Lossless (0 where it has none: junk between packets), else by the format's fixed
/// number or the duration that the container gives. At most 65,536.
std::int64_t packetFrames(AudioInput& input, const AVPacket& packet);

/// Formats whose every packet is one frame for the decoder, given at once; a packet that gives none is damaged.
bool isOneFrameAPacket(AVCodecID id);

/// Takes off a stream's frames what its packets declare as gap.
class GapTrim {
public:
    struct Kept {
        std::int64_t first = 0;
        std::int64_t count = 0;
    };

    /// What stays of a run of `count` frames. `skip` and `discard` are what is declared with it: frames to take off
    /// from its first on, into later runs, and off its end; an unwanted run goes whole.
    Kept keep(std::int64_t count, std::int64_t skip, std::int64_t discard, bool unwanted);

private:
    std::int64_t m_skip = 0; // still to be taken off
};

/// The two numbers of a skip side data block (of a packet or a frame); zeros for null.
struct DeclaredGap {
    std::int64_t skip = 0;
    std::int64_t discard = 0;

    static DeclaredGap read(const std::uint8_t* data, std::size_t size);
    static DeclaredGap of(const AVPacket& packet);
    static DeclaredGap of(const AVFrame& frame);
};

} // namespace mv
