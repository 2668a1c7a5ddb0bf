#include "audio/FlacHeader.h"
#include "audio/StreamLength.h"

#include "Base/Core/ByteReader.h"
#include "id3/Id3v2Tag.h"

#include <algorithm>
#include <array>
#include <optional>

namespace mv {

namespace {

// Two frames of the largest possible size (8 channels, 32 bits, 65,535 samples each) fit, so the last whole frame of
// a cut file is always inside.
constexpr std::uint64_t MaxTail = 4u << 20;
constexpr std::uint64_t FirstTail = 64u << 10;
// Bounds the checksums that a tail full of false frame headers can ask for.
constexpr std::size_t MaxChecked = 64u << 20;
// More tags than this in front of the audio are not believed.
constexpr int MaxLeadingTags = 8;
// The format names 7 types of block, and encoders write a handful; a chain of empty ones must not keep us reading.
constexpr int MaxMetadataBlocks = 1024;
constexpr std::size_t Id3v1Size = 128;
constexpr std::size_t MarkerAndStreamInfoSize = 8 + FlacStreamInfo::Size;

std::uint64_t startOfAudioFile(const ByteSource& file)
{
    std::uint64_t offset = 0;
    for (int i = 0; i < MaxLeadingTags; ++i) {
        const std::uint64_t size = Id3v2Tag::sizeAt(offset, file);
        if (size == 0)
            break;
        offset += size;
    }
    return offset;
}

// Where the metadata blocks end and frames begin.
Result<std::uint64_t> endOfMetadata(const ByteSource& file, std::uint64_t marker)
{
    constexpr unsigned LastBlock = 0x80;
    std::uint64_t offset = marker + 4;
    for (int i = 0; i < MaxMetadataBlocks; ++i) {
        MV_TRY(head, file.bytesAt(offset, 4));
        ByteReader reader(head);
        bool last = reader.u8() & LastBlock;
        offset += 4 + std::uint64_t { reader.u24be() };
        if (last)
            return offset;
    }
    return Error { Error::Kind::Limit, "too many metadata blocks" };
}

// The end of the audio: an ID3v1 tag at the end of the file does not belong to it.
Result<std::uint64_t> endOfAudio(const ByteSource& file, std::uint64_t start)
{
    if (file.size() < start + Id3v1Size)
        return file.size();
    MV_TRY(mark, file.bytesAt(file.size() - Id3v1Size, 3));
    return charsOf(mark) == "TAG" ? file.size() - Id3v1Size : file.size();
}

struct Candidate {
    std::size_t offset;
    FlacFrameHeader header;
};

std::vector<Candidate> frameHeadersIn(ByteView tail, const FlacStreamInfo& info)
{
    std::vector<Candidate> found;
    for (std::size_t i = 0; i + 1 < tail.size(); ++i) {
        if (tail[i] != 0xFF || (tail[i + 1] & 0xFE) != 0xF8)
            continue;
        if (auto header = FlacFrameHeader::parse(tail.subspan(i), info))
            found.push_back({ i, *header });
    }
    return found;
}

// The end of the last frame of the tail whose own checksum is right. A header may be a chance pattern inside a frame,
// so a frame is believed only when it ends where another begins or where the audio ends.
std::optional<std::uint64_t> endOfLastWholeFrame(ByteView tail, const FlacStreamInfo& info)
{
    std::vector<Candidate> found = frameHeadersIn(tail, info);
    std::size_t checked = 0;
    for (std::size_t i = found.size(); i-- > 0 && checked < MaxChecked;) {
        std::uint16_t crc = 0;
        std::size_t from = found[i].offset;
        for (std::size_t next = i + 1; next <= found.size(); ++next) {
            std::size_t to = next < found.size() ? found[next].offset : tail.size();
            crc = flacCrc16(crc, tail.subspan(from, to - from));
            checked += to - from;
            from = to;
            if (crc == 0)
                return found[i].header.endSample();
        }
    }
    return std::nullopt;
}

Result<std::uint64_t> framesByTail(const ByteSource& file, std::uint64_t marker, const FlacStreamInfo& info)
{
    MV_TRY(begin, endOfMetadata(file, marker));
    MV_TRY(end, endOfAudio(file, begin));
    if (end <= begin)
        return std::uint64_t { 0 }; // a sound file without a sample is one
    for (std::uint64_t wanted = FirstTail;; wanted *= 8) {
        std::uint64_t size = std::min({ wanted, MaxTail, end - begin });
        MV_TRY(tail, file.bytesAt(end - size, static_cast<std::size_t>(size)));
        if (auto frames = endOfLastWholeFrame(tail, info))
            return *frames;
        if (size == MaxTail || size == end - begin)
            return Error { Error::Kind::Format, "no whole frame" };
    }
}

Result<FlacStreamInfo> streamInfoAt(const ByteSource& file, std::uint64_t marker)
{
    std::array<std::uint8_t, MarkerAndStreamInfoSize> start {};
    MV_TRY(got, file.readAt(marker, start));
    return FlacStreamInfo::parse(ByteView(start).first(got));
}

} // namespace

Result<StreamLength> measureFlac(const ByteSource& file)
{
    const std::uint64_t marker = startOfAudioFile(file);
    MV_TRY(info, streamInfoAt(file, marker));
    std::uint64_t frames = info.totalFrames;
    if (frames == 0) {
        MV_TRY(counted, framesByTail(file, marker, info));
        frames = counted;
    }
    return StreamLength { info.sampleRate, info.channels, frames };
}

Result<std::uint64_t> flacFramesByTail(const ByteSource& file)
{
    const std::uint64_t marker = startOfAudioFile(file);
    MV_TRY(info, streamInfoAt(file, marker));
    return framesByTail(file, marker, info);
}

} // namespace mv
