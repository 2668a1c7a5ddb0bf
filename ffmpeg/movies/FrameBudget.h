#pragma once

#include "ffmpeg/Handles.h"
#include "ffmpeg/MediaLimits.h"

#include <atomic>
#include <cstdint>
#include <memory>

namespace mv {

/// Bounds the memory of all frames that a decoder has out at a time: the limits on one frame's pixels do not, since a
/// stream may ask for sixteen of them as references. A frame that does not fit fails to decode.
class FrameBudget {
public:
    /// `limit`: bytes.
    explicit FrameBudget(std::int64_t limit = MaxFrameMemory)
        : m_limit(limit)
    {
    }

    /// Bytes of the frames that exist now.
    std::int64_t bytesOut() const { return *m_count; }

    /// Puts the decoder's frames on a budget; before it is opened. The budget outlives the decoder; frames may outlive
    /// both.
    void watch(AVCodecContext& decoder);

private:
    using Count = std::atomic<std::int64_t>;

    /// What one frame holds of the count while it, or a reference to it, exists.
    struct Share {
        std::shared_ptr<Count> count;
        std::int64_t bytes;
    };
    static int getBuffer(AVCodecContext* decoder, AVFrame* frame, int flags);
    static void release(void* share, std::uint8_t* data);

    std::int64_t m_limit;
    std::shared_ptr<Count> m_count = std::make_shared<Count>(0);
};

} // namespace mv
