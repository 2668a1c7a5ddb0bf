#include "id3/MpegLength.h"

#include "id3/MpegFrameReader.h"

#include <array>

namespace mv {

namespace {

constexpr std::uint64_t LookInterval = std::uint64_t { 64 } << 10;

double secondsOf(const MpegHeader& header) { return static_cast<double>(header.samplesPerFrame) / header.sampleRate; }

/// Counts frames one after another and finds the next stream where one breaks off.
class Walk {
public:
    Walk(MpegStream& stream, const MpegFrame& first)
        : m_stream(stream)
        , m_frame(first)
        , m_begin(first.offset)
    {
    }

    double run()
    {
        std::uint64_t limit = std::min(m_stream.end(), m_begin + MpegFrameReader::MaxWalk);
        for (bool more = true; more && m_frame.offset < limit;) {
            m_seconds += playedSeconds();
            more = step();
        }
        bool cut = limit < m_stream.end() && m_frame.offset >= limit;
        if (cut)
            m_seconds *= static_cast<double>(m_stream.end() - m_begin) / static_cast<double>(m_frame.offset - m_begin);
        return m_seconds;
    }

    std::uint64_t end() const { return m_frame.end(); }

private:
    /// A frame that the end of the file cuts is not heard.
    double playedSeconds() const { return m_frame.end() <= m_stream.end() ? secondsOf(m_frame.header) : 0; }

    bool step()
    {
        auto next = m_stream.frameBehind(m_frame);
        if (!next)
            next = m_stream.findProven(m_frame.offset + 1, m_stream.end());
        if (next)
            m_frame = *next;
        return next.has_value();
    }

    MpegStream& m_stream;
    MpegFrame m_frame;
    std::uint64_t m_begin;
    double m_seconds = 0;
};

/// Looks into a stream here and there.
class Looks {
public:
    Looks(MpegStream& stream, const MpegFrame& first)
        : m_stream(stream)
        , m_first(first)
    {
    }

    /// True when at this place frames of the same kind and bit rate are found.
    bool findsTheSameAt(std::uint64_t place)
    {
        auto frame = m_stream.findProven(place, place + 2 * m_first.size + MpegHeader::MaxFrameSize);
        for (int i = 0; i < MpegStream::ProvingFrames; ++i) {
            if (!frame || !frame->header.continues(m_first.header) || frame->header.bitrate != m_first.header.bitrate)
                return false;
            m_anyPadded = m_anyPadded || frame->header.isPadded;
            if (frame->end() + MpegHeader::Size > m_stream.end())
                break;
            frame = m_stream.frameBehind(*frame);
        }
        return true;
    }

    /// Encoders pad frames to keep the bit rate to the bit, or never do; then every frame is a little short of it.
    double secondsOfBytes(std::uint64_t count) const
    {
        auto bytes = static_cast<double>(count);
        if (m_anyPadded)
            return bytes * 8 / m_first.header.bitrate;
        MpegHeader unpadded = m_first.header;
        unpadded.isPadded = false;
        return bytes / static_cast<double>(unpadded.frameSize()) * secondsOf(unpadded);
    }

private:
    MpegStream& m_stream;
    const MpegFrame& m_first;
    bool m_anyPadded = false;
};

} // namespace

std::optional<double> secondsOfConstantStream(MpegStream& stream, const MpegFrame& first)
{
    Looks looks(stream, first);
    std::uint64_t place = first.offset;
    for (; place + LookInterval < stream.end(); place += LookInterval) {
        if (!looks.findsTheSameAt(place))
            return std::nullopt;
    }
    // The last stretch may end in what is no audio.
    std::uint64_t lastStretch = place - (place > first.offset ? LookInterval : 0);
    auto frame = stream.findProven(lastStretch, stream.end());
    if (!frame)
        return std::nullopt;
    std::uint64_t before = frame->offset - first.offset;
    return looks.secondsOfBytes(before) + Walk(stream, *frame).run();
}

double secondsByWalking(MpegStream& stream, const MpegFrame& first) { return Walk(stream, first).run(); }

} // namespace mv
