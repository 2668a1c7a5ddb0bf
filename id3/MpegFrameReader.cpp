#include "id3/MpegFrameReader.h"

#include "id3/MpegLength.h"
#include "id3/MpegStream.h"
#include "id3/VbrHeader.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace mv {

namespace {

// Reads of the source: small ones where the stream is looked into, large ones for walks.
constexpr std::size_t LookStep = std::size_t { 8 } << 10;
constexpr std::size_t WalkStep = std::size_t { 256 } << 10;

std::optional<VbrHeader> vbrHeaderOf(SourceWindow& window, const MpegFrame& frame)
{
    return VbrHeader::parse(frame.header, window.look(frame.offset, frame.size));
}

/// The place of the first byte that is not zero.
std::uint64_t behindPadding(SourceWindow& window, std::uint64_t begin, std::uint64_t until)
{
    constexpr std::size_t Look = std::size_t { 4 } << 10;
    while (begin < until) {
        ByteView bytes = window.look(begin, Look);
        auto found = std::find_if(bytes.begin(), bytes.end(), [](std::uint8_t byte) { return byte != 0; });
        if (bytes.empty() || found != bytes.end())
            return begin + static_cast<std::uint64_t>(found - bytes.begin());
        begin += bytes.size();
    }
    return begin;
}

/// A file's only frames, or frames that damage breaks off: a header that the file's end cuts off from company, or two
/// that follow each other, both only at the begin; or one with an encoder's table anywhere.
std::optional<MpegFrame> findUnproven(
    MpegStream& stream, SourceWindow& window, std::uint64_t begin, std::uint64_t until)
{
    for (auto sync = stream.findSync(begin, until); sync; sync = stream.findSync(*sync + 1, until)) {
        auto frame = stream.frameAt(*sync);
        // A byte order mark and a letter look like layer I.
        if (!frame || frame->header.layer == 1)
            continue;
        MpegStream::Chain chain = stream.chainFrom(*frame);
        bool inPlace = frame->offset == begin && (chain.reachesEnd || chain.frames >= 2);
        if (inPlace || vbrHeaderOf(window, *frame))
            return frame;
    }
    return std::nullopt;
}

std::optional<MpegFrame> findFirst(MpegStream& stream, SourceWindow& window, std::uint64_t begin)
{
    std::uint64_t until = std::min(stream.end(), begin + MpegFrameReader::MaxSearch);
    // An encoder's table where the stream has to begin is proof enough, also when damage follows.
    begin = behindPadding(window, begin, until);
    auto inPlace = stream.frameAt(begin);
    if (inPlace && vbrHeaderOf(window, *inPlace))
        return inPlace;
    if (auto free = stream.beginFreeFormat(begin))
        return free;
    auto proven = stream.findProven(begin, until);
    return proven ? proven : findUnproven(stream, window, begin, until);
}

/// The seconds that the table states, when the file does not speak against it.
std::optional<double> secondsOfTable(const VbrHeader& table, const MpegFrame& first, std::uint64_t end)
{
    auto samples = table.sampleCount(first.header.samplesPerFrame);
    if (!samples || *samples == 0)
        return std::nullopt;
    double seconds = static_cast<double>(*samples) / first.header.sampleRate;
    double audioBytes = static_cast<double>(end - first.offset);
    double statedBytes = table.bytes && *table.bytes > 0 ? *table.bytes : audioBytes;
    // Some count the table's frame, some do not; some count an ID3v1 tag; all are within two frames of each other.
    constexpr double Tolerance = 2 * MpegHeader::MaxFrameSize;
    if (statedBytes + Tolerance < audioBytes)
        return std::nullopt;
    // No stream has less or more than this on average.
    constexpr double MinBitrate = 4'000;
    constexpr double MaxBitrate = 660'000;
    double bitrate = (statedBytes + Tolerance) * 8 / seconds;
    double floor = std::max(0.0, statedBytes - Tolerance) * 8 / seconds;
    if (bitrate < MinBitrate || floor > MaxBitrate)
        return std::nullopt;
    return seconds;
}

double secondsWithoutTable(
    const ByteSource& source, MpegStream& front, const MpegFrame& first, const std::optional<VbrHeader>& table)
{
    // The table's frame is silent.
    MpegFrame audio = first;
    if (table) {
        auto next = front.frameBehind(first);
        if (!next)
            next = front.findProven(first.offset + MpegHeader::Size, front.end());
        if (!next)
            return 0;
        audio = *next;
    }
    bool small = front.end() - audio.offset <= MpegFrameReader::SmallStream;
    if (!small && !audio.header.isFreeFormat()) {
        SourceWindow window(source, front.end(), LookStep);
        MpegStream looks(window);
        if (auto seconds = secondsOfConstantStream(looks, audio))
            return *seconds;
    }
    SourceWindow window(source, front.end(), WalkStep);
    MpegStream stream(window, front.freeFormatSize());
    return secondsByWalking(stream, audio);
}

/// The bit rate of the free format in whole kbit/s: the one whose frames have this size.
int freeFormatBitrate(const MpegFrame& frame)
{
    auto slot = static_cast<std::size_t>(frame.header.slotSize());
    std::size_t wholeSlots = frame.size / slot;
    double slots = static_cast<double>(wholeSlots) - (frame.header.isPadded ? 1 : 0);
    double bitsPerSecond
        = slots * frame.header.slotSize() * 8.0 * frame.header.sampleRate / frame.header.samplesPerFrame;
    return static_cast<int>(std::ceil(bitsPerSecond / 1000)) * 1000;
}

} // namespace

std::int32_t MpegAudioFacts::wholeSeconds() const
{
    constexpr double Ceiling = std::numeric_limits<std::int32_t>::max();
    return static_cast<std::int32_t>(std::min(std::floor(seconds + 0.5), Ceiling));
}

std::optional<MpegAudioFacts> MpegFrameReader::read(const ByteSource& source, std::uint64_t begin, std::uint64_t end)
{
    SourceWindow window(source, end, MpegStream::SearchStep);
    MpegStream stream(window);
    auto first = findFirst(stream, window, begin);
    if (!first)
        return std::nullopt;
    auto table = vbrHeaderOf(window, *first);
    auto stated = table ? secondsOfTable(*table, *first, stream.end()) : std::nullopt;
    MpegAudioFacts facts { first->offset, first->header, 0 };
    facts.seconds = stated ? *stated : secondsWithoutTable(source, stream, *first, table);
    if (facts.header.isFreeFormat())
        facts.header.bitrate = freeFormatBitrate(*first);
    return facts;
}

} // namespace mv
