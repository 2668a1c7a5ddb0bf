#pragma once

#include "ffmpeg/MediaInput.h"
#include "ffmpeg/movies/FrameBudget.h"

namespace mv {

/// Takes single frames out of a stream, decoding only what they need: from the key frame before, without the frames in
/// between that nothing refers to.
class FrameGrabber {
public:
    /// `input` outlives the grabber. Every stream but `stream` is turned off.
    static Result<std::unique_ptr<FrameGrabber>> create(MediaInput& input, AVStream& stream);

    /// The frame shown at `time` microseconds after the movie's start: the last one that starts at or before it. The
    /// first frame where the pictures start later, the last one behind their end.
    Result<FrameHandle> frameAt(std::int64_t time);
    /// The last frame before `time` that needs no other one, as far as the container knows; the one of frameAt where
    /// there is none.
    Result<FrameHandle> keyFrameBefore(std::int64_t time);
    /// The first frame that decodes.
    Result<FrameHandle> firstFrame();

private:
    /// A frame with its presentation time in the stream's time base, AV_NOPTS_VALUE where there is none.
    struct Candidate {
        FrameHandle frame;
        std::int64_t time = AV_NOPTS_VALUE;
    };

    FrameGrabber(MediaInput& input, AVStream& stream)
        : m_input(input)
        , m_stream(stream)
    {
    }
    Result<void> openDecoder();
    /// Microseconds as the container counts them.
    Result<std::int64_t> inMovie(std::int64_t time) const;
    std::int64_t origin() const;
    std::int64_t inStreamTime(std::int64_t time) const;
    void rewindTo(std::int64_t time);
    void rewindToStart();
    void skipUnneeded(const AVPacket& packet, std::int64_t target);
    /// Decodes up to the frame shown at `target` from wherever the demuxer stands.
    Candidate decodeUpTo(std::int64_t target);
    FrameHandle nextKeyFrame();
    bool takeFrames(std::int64_t target, Candidate& shown);

    MediaInput& m_input;
    AVStream& m_stream;
    FrameBudget m_budget;
    CodecContext m_decoder;
};

} // namespace mv
