#pragma once

#include "mp3/SideInformation.h"

#include <vector>

namespace mv {

/// Frames of layer III as an encoder makes them, one behind the other, with the numbers that they have in a longer
/// stream. Their main data lie in the room of one or several frames, over the borders of frames, as if that were one
/// run of bytes.
class Mp3FrameStream {
public:
    /// The first frame has the number `first`.
    explicit Mp3FrameStream(std::size_t first)
        : m_first(first)
    {
    }

    /// The next bytes, cut anywhere. A first frame with nothing but zeros behind its header is the room that an encoder
    /// leaves for a table about the stream, and has no number. False, now and from then on, for what is no frame or not
    /// one of the stream before it.
    bool append(ByteView bytes);

    /// Numbers of the first frame and of the one behind the last.
    std::size_t first() const { return m_first; }
    std::size_t end() const { return m_first + m_frames.size(); }
    bool contains(std::size_t number) const { return number >= first() && number < end(); }
    /// Nothing is left that is not a frame yet.
    bool isWhole() const { return m_isWell && m_parsed == m_bytes.size(); }
    /// The room for a table in front of the first frame; empty where there is none.
    ByteView tableRoom() const { return ByteView(m_bytes).first(m_tableRoom); }

    /// Of a frame that it contains.
    const Mp3FrameFacts& facts(std::size_t number) const { return frame(number).facts; }
    ByteView bytes(std::size_t number) const;
    int samplesPerFrame() const { return m_header ? m_header->samplesPerFrame : 0; }

    /// Bytes of room of the frames from `from` on and before `to`, both contained or the end.
    std::size_t roomBetween(std::size_t from, std::size_t to) const;
    /// The last `count` bytes of room before a frame; there are so many.
    Bytes mainDataBefore(std::size_t number, std::size_t count) const;
    /// Puts other bytes there.
    void replaceMainDataBefore(std::size_t number, ByteView data);

private:
    struct Frame {
        std::size_t offset;
        Mp3FrameFacts facts;
    };

    const Frame& frame(std::size_t number) const { return m_frames[number - m_first]; }
    /// False where there is no further one yet, or never.
    bool parseFrame();

    std::size_t m_first;
    Bytes m_bytes; // the room, the frames, and what follows them so far
    std::vector<Frame> m_frames;
    std::optional<MpegHeader> m_header; // the first frame's
    std::size_t m_parsed = 0;
    std::size_t m_tableRoom = 0;
    bool m_isWell = true;
};

} // namespace mv
