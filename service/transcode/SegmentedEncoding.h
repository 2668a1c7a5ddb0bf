#pragma once

#include "mp3/StreamSummary.h"
#include "service/transcode/Mp3Segments.h"
#include "service/transcode/SegmentLine.h"

namespace mv {

/// Encodes one file's sound to MP3 by several encoders at once, joined as mp3/FrameJoint.h says.
class SegmentedEncoding final : public EncodedSound {
public:
    /// The arguments but the plan are those of Mp3Segments. The decoder belongs to the threads until this is destroyed.
    /// std::system_error where no thread can be had.
    SegmentedEncoding(MVAudioDecoderBase& decoder, const LameLibrary& library, LameHandle first,
        Mp3Segments::MakeLame makeLame, const SegmentPlan& plan);
    SegmentedEncoding(const SegmentedEncoding&) = delete;
    SegmentedEncoding& operator=(const SegmentedEncoding&) = delete;

    Block next() override;
    std::size_t tagFrame(std::span<std::uint8_t> area) override;

private:
    using Line = SegmentLine<Mp3Segments>;

    Bytes bytesOf(const Line::Step& step);

    Mp3Segments m_format;
    Line m_line;
    Mp3StreamSummary m_summary;
    std::shared_ptr<Mp3SegmentEncoder> m_last;
};

} // namespace mv
