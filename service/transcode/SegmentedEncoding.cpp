#include "service/transcode/SegmentedEncoding.h"

#include <algorithm>

namespace mv {

SegmentedEncoding::SegmentedEncoding(MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first,
    Mp3Segments::MakeLame makeLame, const SegmentPlan& plan)
    : m_format(decoder, library, std::move(first), std::move(makeLame), plan.shape().frameSize)
    , m_line(m_format, plan)
{
}

EncodedSound::Block SegmentedEncoding::next()
{
    auto step = m_line.next();
    if (!step)
        return { 0, step.error().code, {}, false };
    if (step->isLast)
        m_last = step->encoder;
    return { static_cast<std::int32_t>(step->samples), 0, bytesOf(*step), step->isLast };
}

/// The frames, with the room for the table in front of the first.
Bytes SegmentedEncoding::bytesOf(const Line::Step& step)
{
    if (!step.encoder)
        return {};
    Mp3FrameStream& stream = step.encoder->stream();
    ByteView room = step.begin == 0 ? stream.tableRoom() : ByteView();
    Bytes bytes(room.begin(), room.end());
    for (std::size_t number = step.begin; number < step.end; ++number) {
        ByteView frame = stream.bytes(number);
        m_summary.add(frame);
        bytes.insert(bytes.end(), frame.begin(), frame.end());
    }
    return bytes;
}

std::size_t SegmentedEncoding::tagFrame(std::span<std::uint8_t> area)
{
    std::size_t size = m_last->tagFrame(area);
    if (m_line.joints() == 0 || size == 0 || size > area.size())
        return size;
    Bytes frame(area.begin(), area.begin() + static_cast<std::ptrdiff_t>(size));
    m_summary.describeIn(frame);
    std::copy(frame.begin(), frame.end(), area.begin());
    return size;
}

} // namespace mv
