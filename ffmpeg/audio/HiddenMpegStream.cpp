#include "ffmpeg/audio/HiddenMpegStream.h"

#include "id3/MpegStream.h"

namespace mv {

namespace {

constexpr std::uint64_t Searched = 1 << 20;
// A fifth of a second. Chance may make a few headers follow each other in data of other kinds, but not so many.
constexpr int ConvincingFrames = 8;

bool isConvincing(MpegStream& stream, const MpegFrame& first)
{
    MpegFrame frame = first;
    for (int i = 1; i < ConvincingFrames; ++i) {
        auto next = stream.frameBehind(frame);
        if (!next)
            return false;
        frame = *next;
    }
    return true;
}

} // namespace

std::optional<std::uint64_t> findHiddenMpegStream(const ByteSource& file)
{
    SourceWindow window(file, file.size(), MpegStream::SearchStep);
    MpegStream stream(window);
    for (auto frame = stream.findProven(0, Searched); frame; frame = stream.findProven(frame->offset + 1, Searched))
        if (isConvincing(stream, *frame))
            return frame->offset;
    return std::nullopt;
}

} // namespace mv
