#include "audio/WaveFile.h"

#include <algorithm>
#include <array>
#include <bit>
#include <string_view>

namespace mv {

namespace {

constexpr std::uint32_t MaxRate = 768'000;
constexpr std::uint32_t MaxChannels = 64;
// Files have a dozen; one made of tiny chunks is left to others, who read it as a stream.
constexpr int MaxChunks = 1000;

constexpr std::uint16_t TagPcm = 1;
constexpr std::uint16_t TagFloat = 3;
constexpr std::uint16_t TagExtensible = 0xFFFE;

constexpr std::size_t PlainFormatSize = 16;
constexpr std::size_t ExtensibleFormatSize = 40;

/// What a format chunk says.
struct WaveFormat {
    std::uint16_t tag = 0;
    std::uint16_t channels = 0;
    std::uint32_t rate = 0;
    std::uint16_t frameBytes = 0;
    std::uint16_t bits = 0;
    std::uint32_t speakers = 0;

    std::uint32_t sampleBytes() const { return bits / 8u; }
};

// The subformat of an extensible chunk: the tag, and behind it the same 14 bytes for all tags.
bool readExtension(ByteReader& reader, WaveFormat& format)
{
    constexpr std::array<std::uint8_t, 14> Tail { 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71 };
    constexpr std::uint16_t ExtensionSize = 22;
    bool usual = reader.u16le() == ExtensionSize && reader.u16le() == format.bits;
    format.speakers = reader.u32le();
    format.tag = reader.u16le();
    ByteView tail = reader.take(Tail.size());
    return usual && !reader.failed() && std::equal(tail.begin(), tail.end(), Tail.begin());
}

// False for what is not taken here.
bool readFormat(ByteView chunk, WaveFormat& format)
{
    ByteReader reader(chunk);
    format.tag = reader.u16le();
    format.channels = reader.u16le();
    format.rate = reader.u32le();
    reader.skip(4); // bytes a second
    format.frameBytes = reader.u16le();
    format.bits = reader.u16le();
    if (reader.failed())
        return false;
    if (format.tag == TagExtensible ? !readExtension(reader, format) : chunk.size() > PlainFormatSize + 2)
        return false;
    bool pcm
        = format.tag == TagPcm && (format.bits == 8 || format.bits == 16 || format.bits == 24 || format.bits == 32);
    bool floats = format.tag == TagFloat && (format.bits == 32 || format.bits == 64);
    bool sound = format.rate > 0 && format.rate <= MaxRate && format.channels > 0 && format.channels <= MaxChannels
        && format.frameBytes == format.channels * format.sampleBytes();
    return (pcm || floats) && sound;
}

/// The chunks of a file, from its first to its last.
class ChunkWalk {
public:
    explicit ChunkWalk(const ByteSource& file)
        : m_file(file)
    {
    }

    bool run();

    WaveFormat format; ///< tag 0 until the chunk came
    std::uint64_t dataStart = 0; ///< 0 until the chunk came
    std::uint64_t dataSize = 0; ///< as far as the file goes

private:
    bool takeChunk(std::uint32_t id, std::uint64_t start, std::uint32_t size);

    const ByteSource& m_file;
};

bool ChunkWalk::run()
{
    constexpr std::size_t HeaderSize = 8;
    auto head = m_file.bytesAt(0, 12);
    if (!head || charsOf(*head).substr(0, 4) != "RIFF" || charsOf(*head).substr(8) != "WAVE")
        return false;
    std::uint64_t place = head->size();
    for (int chunks = 0; place + HeaderSize <= m_file.size(); ++chunks) {
        auto header = m_file.bytesAt(place, HeaderSize);
        if (!header || chunks == MaxChunks)
            return false;
        ByteReader reader(*header);
        std::uint32_t id = reader.u32be();
        std::uint32_t size = reader.u32le();
        place += HeaderSize;
        if (!takeChunk(id, place, size))
            return false;
        place += std::uint64_t { size } + size % 2;
    }
    return dataStart > 0;
}

bool ChunkWalk::takeChunk(std::uint32_t id, std::uint64_t start, std::uint32_t size)
{
    switch (id) {
    case fourCC("fmt "): {
        if (format.tag != 0 || size > ExtensibleFormatSize)
            return false;
        auto chunk = m_file.bytesAt(start, size);
        return chunk && readFormat(*chunk, format);
    }
    case fourCC("data"):
        // A size of 0 is what a recorder leaves that was switched off: the samples are there. Of odd sizes some
        // programs count the byte that fills up, others do not.
        if (format.tag == 0 || dataStart > 0 || size == 0 || size % 2 != 0)
            return false;
        dataStart = start;
        dataSize = std::min<std::uint64_t>(size, m_file.size() - start);
        return true;
    case fourCC("ds64"): // sizes of large files
    case fourCC("SMV0"): // video
    case fourCC("XMA2"): // another format chunk
        return false;
    default:
        return true;
    }
}

// AC-3 and DTS on their way to a receiver hide in files that pretend to be stereo; their words begin like this. A
// decoder of those looks at this much.
bool maybeDigitalSurround(const ByteSource& file, const ChunkWalk& walk)
{
    constexpr std::uint64_t Inspected = 1 << 16;
    constexpr std::string_view Preamble = "\x72\xF8\x1F\x4E";
    auto start = file.bytesAt(walk.dataStart, static_cast<std::size_t>(std::min(walk.dataSize, Inspected)));
    return !start || charsOf(*start).find(Preamble) != std::string_view::npos;
}

SampleKind kindOf(const WaveFormat& format)
{
    if (format.tag == TagFloat)
        return format.bits == 64 ? SampleKind::Float64 : SampleKind::Float32;
    return format.bits == 8 ? SampleKind::Unsigned8 : format.bits == 16 ? SampleKind::Signed16 : SampleKind::Signed32;
}

std::uint32_t flagsOf(SampleKind kind)
{
    switch (kind) {
    case SampleKind::Unsigned8:
        return 0;
    case SampleKind::Float32:
    case SampleKind::Float64:
        return kAudioFormatFlagIsFloat;
    default:
        return kAudioFormatFlagIsSignedInteger;
    }
}

} // namespace

std::optional<WaveFile> WaveFile::read(const ByteSource& file)
{
    static_assert(std::endian::native == std::endian::little, "samples are used as they lie in the file");
    ChunkWalk walk(file);
    if (!walk.run() || maybeDigitalSurround(file, walk))
        return std::nullopt;
    const WaveFormat& format = walk.format;
    WaveFile wave;
    wave.start = walk.dataStart;
    wave.kind = kindOf(format);
    wave.sampleBytes = format.sampleBytes();
    wave.format.description
        = linearPcm(format.rate, format.channels, std::min<std::uint32_t>(format.bits, 32), flagsOf(wave.kind));
    // A mask that does not name every channel names none.
    if (std::popcount(format.speakers) == format.channels)
        wave.format.channelMask = format.speakers;
    wave.format.frames = static_cast<std::int64_t>(walk.dataSize / format.frameBytes);
    return wave;
}

} // namespace mv
