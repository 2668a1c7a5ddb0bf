#include "mp4/SampleTable.h"

#include <algorithm>

namespace mv {

namespace {

// Wide enough for bytes x 8,000 and for ticks x 1,000 without a loss.
__extension__ using Wide = unsigned __int128;

constexpr std::size_t RowsBehindHeader = 12;

/// QuickTime counts uncompressed sound in frames "of one byte" and says the real size of a frame in the sample
/// description; compressed sound of description 1 likewise in packets.
std::uint64_t bytesOfUnitSamples(const TrackFacts& track, std::uint64_t count)
{
    static constexpr std::array<std::uint32_t, 10> Uncompressed = { fourCC("sowt"), fourCC("twos"), fourCC("raw "),
        fourCC("NONE"), fourCC("in24"), fourCC("in32"), fourCC("fl32"), fourCC("fl64"), fourCC("lpcm"), 0 };
    if (track.samplesPerPacket && track.bytesPerFrame)
        return saturatingMultiply(count / track.samplesPerPacket, track.bytesPerFrame);
    bool uncompressed = !track.descriptionCodes.empty()
        && std::find(Uncompressed.begin(), Uncompressed.end(), track.descriptionCodes[0]) != Uncompressed.end();
    std::uint64_t frame = std::uint64_t { track.channels } * ((track.bitsPerSample + 7u) / 8u);
    return uncompressed && frame ? saturatingMultiply(count, frame) : count;
}

/// Calls `visit` with stretches of whole rows: every row of `rowSize` bytes that the box holds from `begin` of its
/// payload on, at most `count`.
template <class Visit>
void forEachStretch(StructureReader& reader, const Box& box, std::uint64_t begin, std::size_t rowSize,
    std::uint64_t count, const Visit& visit)
{
    if (box.payloadSize() < begin)
        return;
    std::uint64_t left = std::min(count, (box.payloadSize() - begin) / rowSize);
    std::uint64_t offset = box.payloadOffset() + begin;
    const std::size_t rowsPerPeek = StructureReader::WindowSize / rowSize;
    while (left > 0) {
        std::size_t rows = static_cast<std::size_t>(std::min<std::uint64_t>(left, rowsPerPeek));
        ByteView stretch = reader.peek(offset, rows * rowSize);
        if (stretch.empty())
            return;
        visit(stretch);
        offset += rows * rowSize;
        left -= rows;
    }
}

std::uint32_t fromBigEndian(std::uint32_t value) { return __builtin_bswap32(value); }
std::uint32_t fromBigEndian(std::uint16_t value) { return __builtin_bswap16(value); }
std::uint32_t fromBigEndian(std::uint8_t value) { return value; }
static_assert(std::endian::native == std::endian::little);

/// Sum of the box's big-endian numbers. A loop this plain becomes wide loads; a long movie has a million rows.
template <std::unsigned_integral T> std::uint64_t sumOfRows(StructureReader& reader, const Box& box, SampleRange range)
{
    std::uint64_t total = 0;
    std::uint64_t begin = RowsBehindHeader + range.first * sizeof(T);
    forEachStretch(reader, box, begin, sizeof(T), range.count, [&](ByteView rows) {
        for (std::size_t at = 0; at < rows.size(); at += sizeof(T)) {
            T value;
            std::memcpy(&value, rows.data() + at, sizeof value);
            total += fromBigEndian(value);
        }
    });
    return total;
}

/// Two samples a byte, the first in the high half.
std::uint64_t sumOfHalfBytes(StructureReader& reader, const Box& box, SampleRange range)
{
    std::uint64_t total = 0;
    std::uint64_t left = range.count;
    bool lowHalf = range.first % 2;
    std::uint64_t begin = RowsBehindHeader + range.first / 2;
    forEachStretch(reader, box, begin, 1, (range.count + lowHalf + 1) / 2, [&](ByteView pairs) {
        for (std::uint8_t pair : pairs) {
            if (!lowHalf && left > 0)
                total += pair >> 4, left--;
            if (left > 0)
                total += pair & 15, left--;
            lowHalf = false;
        }
    });
    return total;
}

std::uint64_t compactBytes(StructureReader& reader, const Box& box, std::uint8_t fieldSize, SampleRange range)
{
    switch (fieldSize) {
    case 16:
        return sumOfRows<std::uint16_t>(reader, box, range);
    case 8:
        return sumOfRows<std::uint8_t>(reader, box, range);
    case 4:
        return sumOfHalfBytes(reader, box, range);
    default:
        return 0; // no such width
    }
}

} // namespace

std::uint64_t saturatingAdd(std::uint64_t a, std::uint64_t b) { return a > UINT64_MAX - b ? UINT64_MAX : a + b; }

std::uint64_t saturatingMultiply(std::uint64_t a, std::uint64_t b)
{
    return b != 0 && a > UINT64_MAX / b ? UINT64_MAX : a * b;
}

std::uint32_t declaredSampleCount(StructureReader& reader, const TrackFacts& track)
{
    if (!track.boxes.sampleSizes)
        return 0;
    ByteReader fields(payloadStart(reader, *track.boxes.sampleSizes, RowsBehindHeader));
    fields.skip(8);
    return fields.u32be();
}

std::uint64_t tableBytes(StructureReader& reader, const TrackFacts& track, SampleRange range)
{
    if (!track.boxes.sampleSizes)
        return 0;
    const Box& box = *track.boxes.sampleSizes;
    ByteReader fields(payloadStart(reader, box, RowsBehindHeader));
    fields.skip(4);
    std::uint32_t size = fields.u32be();
    std::uint64_t count = fields.u32be();
    if (fields.failed() || range.first > count)
        return 0;
    range.count = std::min(range.count, count - range.first);
    if (box.type == fourCC("stz2"))
        return compactBytes(reader, box, static_cast<std::uint8_t>(size), range);
    if (size == 1 && track.handler == fourCC("soun"))
        return bytesOfUnitSamples(track, range.count);
    if (size != 0)
        return saturatingMultiply(size, range.count);
    return sumOfRows<std::uint32_t>(reader, box, range);
}

std::uint64_t tableDuration(StructureReader& reader, const TrackFacts& track)
{
    if (!track.boxes.timeToSample)
        return 0;
    constexpr std::size_t HeaderSize = 8;
    ByteReader fields(payloadStart(reader, *track.boxes.timeToSample, HeaderSize));
    fields.skip(4);
    std::uint32_t count = fields.u32be();
    std::uint64_t total = 0;
    forEachStretch(reader, *track.boxes.timeToSample, HeaderSize, 8, count, [&](ByteView rows) {
        ByteReader row(rows);
        while (!row.atEnd()) {
            std::uint64_t samples = row.u32be();
            total = saturatingAdd(total, samples * row.u32be());
        }
    });
    return total;
}

std::uint32_t averageBitRate(std::uint64_t bytes, std::uint32_t timeScale, std::uint64_t duration)
{
    Wide milliseconds = timeScale ? Wide { duration } * 1000 / timeScale : 0;
    if (milliseconds == 0)
        return 0;
    return static_cast<std::uint32_t>(std::min<Wide>(Wide { bytes } * 8000 / milliseconds, UINT32_MAX));
}

} // namespace mv
