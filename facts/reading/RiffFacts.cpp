#include "Base/Core/ByteReader.h"
#include "facts/FactErrors.h"
#include "facts/reading/Id3Facts.h"
#include "facts/reading/Readers.h"
#include "facts/reading/RiffTags.h"
#include "facts/reading/SoundFacts.h"
#include "facts/reading/WaveCodecs.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <optional>

namespace mv {

namespace {

constexpr std::size_t ChunkHeaderSize = 8;
constexpr int MaxChunks = 1000; // files have a dozen
constexpr std::uint64_t MaxInfoBytes = std::uint64_t { 4 } << 20;

struct Chunk {
    std::uint32_t id = 0;
    std::uint64_t offset = 0; ///< of its content
    std::uint64_t size = 0; ///< as it says
};

/// Calls `visit` with each chunk behind the form's name; false from it ends the walk.
template <class Visit> void forEachChunk(const ByteSource& source, bool isBigEndian, Visit visit)
{
    std::uint64_t place = 12;
    for (int i = 0; i < MaxChunks; ++i) {
        std::uint8_t header[ChunkHeaderSize];
        if (source.readUpTo(place, header) != ChunkHeaderSize)
            return;
        ByteReader fields(header);
        Chunk chunk { fields.u32be(), place + ChunkHeaderSize, isBigEndian ? fields.u32be() : fields.u32le() };
        if (!visit(chunk))
            return;
        place = chunk.offset + chunk.size + chunk.size % 2;
    }
}

Bytes contentOf(const ByteSource& source, const Chunk& chunk, std::uint64_t limit)
{
    Bytes bytes(static_cast<std::size_t>(
        std::min({ chunk.size, limit, source.size() - std::min(source.size(), chunk.offset) })));
    bytes.resize(source.readUpTo(chunk.offset, bytes));
    return bytes;
}

std::uint64_t inFile(const ByteSource& source, const Chunk& chunk)
{
    return std::min(chunk.size, source.size() - std::min(source.size(), chunk.offset));
}

// WAVE

struct WaveFacts {
    std::uint16_t tag = 0;
    std::uint16_t bits = 0;
    std::uint32_t channels = 0;
    std::uint32_t rate = 0;
    std::uint32_t byteRate = 0;
    std::uint32_t frameBytes = 0;
    std::uint32_t factFrames = 0;
    std::optional<std::uint64_t> dataSize;
    std::uint64_t wideDataSize = 0; ///< of RF64 and BW64

    void readFormat(ByteView chunk)
    {
        constexpr std::uint16_t Extensible = 0xFFFE;
        ByteReader fields(chunk);
        tag = fields.u16le();
        channels = fields.u16le();
        rate = fields.u32le();
        byteRate = fields.u32le();
        frameBytes = fields.u16le();
        bits = fields.u16le();
        if (tag != Extensible)
            return;
        fields.skip(2);
        if (std::uint16_t valid = fields.u16le(); !fields.failed() && valid != 0 && valid < bits && bits - valid < 8)
            bits = static_cast<std::uint16_t>((valid + 7) / 8 * 8);
        fields.skip(4);
        tag = fields.u16le();
    }
};

SoundFacts soundOf(const WaveFacts& wave)
{
    SoundFacts sound { codecOfWaveTag(wave.tag, wave.bits), wave.rate, wave.channels };
    std::uint64_t bytes = wave.dataSize.value_or(0);
    if (isSampledWaveTag(wave.tag)) {
        sound.bitsPerSample = wave.bits;
        sound.bitrate = std::uint64_t { wave.rate } * wave.frameBytes * 8;
        sound.length = wave.frameBytes == 0 ? 0 : microsecondsOf(bytes / wave.frameBytes, wave.rate);
        return sound;
    }
    sound.bitrate = std::uint64_t { wave.byteRate } * 8;
    sound.length
        = wave.factFrames != 0 ? microsecondsOf(wave.factFrames, wave.rate) : microsecondsOf(bytes, wave.byteRate);
    if (sound.bitrate == 0)
        sound.bitrate = bitrateOf(bytes, sound.length);
    return sound;
}

// AIFF

/// Ten bytes: an exponent and a mantissa of 64 bits.
double extendedNumber(ByteView ten)
{
    ByteReader fields(ten);
    int exponent = fields.u16be() & 0x7FFF;
    constexpr int Bias = 16383 + 63;
    double number = std::ldexp(static_cast<double>(fields.u64be()), exponent - Bias);
    return std::isfinite(number) ? number : 0;
}

struct CodecOfCode {
    std::uint32_t code;
    std::string_view codec;
    bool isSampled;
};

constexpr std::array AiffCodecs {
    CodecOfCode { fourCC("sowt"), "pcm_s16le", true },
    CodecOfCode { fourCC("twos"), "pcm_s16be", true },
    CodecOfCode { fourCC("fl32"), "pcm_f32be", true },
    CodecOfCode { fourCC("FL32"), "pcm_f32be", true },
    CodecOfCode { fourCC("fl64"), "pcm_f64be", true },
    CodecOfCode { fourCC("FL64"), "pcm_f64be", true },
    CodecOfCode { fourCC("in24"), "pcm_s24be", true },
    CodecOfCode { fourCC("in32"), "pcm_s32be", true },
    CodecOfCode { fourCC("alaw"), "pcm_alaw", false },
    CodecOfCode { fourCC("ALAW"), "pcm_alaw", false },
    CodecOfCode { fourCC("ulaw"), "pcm_mulaw", false },
    CodecOfCode { fourCC("ULAW"), "pcm_mulaw", false },
    CodecOfCode { fourCC("ima4"), "adpcm_ima_qt", false },
};

std::string_view bigEndianCodec(std::uint32_t bits)
{
    constexpr std::array<std::string_view, 4> Codecs { "pcm_s8", "pcm_s16be", "pcm_s24be", "pcm_s32be" };
    return bits >= 1 && bits <= 32 ? Codecs[(bits - 1) / 8] : std::string_view();
}

struct AiffFacts {
    SoundFacts sound;
    std::uint64_t soundBytes = 0;

    void readCommon(ByteView chunk)
    {
        ByteReader fields(chunk);
        sound.channels = fields.u16be();
        std::uint32_t frames = fields.u32be();
        std::uint32_t bits = fields.u16be();
        auto rate = extendedNumber(fields.take(10));
        sound.sampleRate = rate < 1e9 ? static_cast<std::uint32_t>(rate + 0.5) : 0;
        std::uint32_t compression = fields.remaining() >= 4 ? fields.u32be() : fourCC("NONE");
        sound.codec = bigEndianCodec(bits);
        sound.bitsPerSample = bits;
        for (const CodecOfCode& row : AiffCodecs) {
            if (row.code != compression)
                continue;
            bool isSmall = row.isSampled && bits == 8;
            sound.codec = isSmall ? "pcm_s8" : row.codec;
            sound.bitsPerSample = row.isSampled ? bits : 0;
        }
        // Its packets are the frames that are counted; the bits are those of what comes out.
        const bool isIma4 = compression == fourCC("ima4");
        std::uint64_t packetFrames = isIma4 ? 64 : 1;
        std::uint64_t packetBits = isIma4 ? 34 * 8 : (bits + 7) / 8 * 8;
        sound.length = microsecondsOf(frames * packetFrames, sound.sampleRate);
        sound.bitrate = std::uint64_t { sound.sampleRate } * sound.channels * packetBits / packetFrames;
    }
};

bool isId3(std::uint32_t id) { return id == fourCC("id3 ") || id == fourCC("ID3 "); }

} // namespace

Result<void> readWave(Reading& reading)
{
    constexpr std::uint64_t FormatBytes = 64;
    const ByteSource& source = reading.source;
    WaveFacts wave;
    std::vector<Chunk> lists;
    forEachChunk(source, false, [&](Chunk& chunk) {
        if (chunk.id == fourCC("fmt ") && wave.rate == 0) {
            wave.readFormat(contentOf(source, chunk, FormatBytes));
        } else if (chunk.id == fourCC("ds64")) {
            Bytes sizes = contentOf(source, chunk, FormatBytes);
            ByteReader fields(sizes);
            fields.skip(8);
            wave.wideDataSize = fields.u64le();
        } else if (chunk.id == fourCC("fact")) {
            wave.factFrames = ByteReader(contentOf(source, chunk, 4)).u32le();
        } else if (chunk.id == fourCC("data")) {
            // A recorder that was switched off leaves a size of none or of all ones: the samples are there.
            bool isOpen = chunk.size == UINT32_MAX || chunk.size == 0;
            if (isOpen)
                chunk.size = wave.wideDataSize != 0 ? wave.wideDataSize
                                                    : source.size() - std::min(source.size(), chunk.offset);
            chunk.size = inFile(source, chunk);
            if (!wave.dataSize)
                wave.dataSize = chunk.size;
        } else if (chunk.id == fourCC("LIST")) {
            lists.push_back(chunk);
        } else if (isId3(chunk.id)) {
            addId3v2At(reading.tags, source, chunk.offset, inFile(source, chunk));
        }
        return true;
    });
    for (const Chunk& list : lists)
        addInfoList(reading.tags, contentOf(source, list, MaxInfoBytes));
    if (wave.rate == 0 || wave.channels == 0 || !wave.dataSize)
        return notMedia("a WAVE file without sound");
    putSound(reading.facts, soundOf(wave));
    return {};
}

Result<void> readAiff(Reading& reading)
{
    constexpr std::uint64_t CommonBytes = 64;
    const ByteSource& source = reading.source;
    AiffFacts aiff;
    std::vector<Chunk> texts;
    forEachChunk(source, true, [&](const Chunk& chunk) {
        if (chunk.id == fourCC("COMM") && aiff.sound.sampleRate == 0)
            aiff.readCommon(contentOf(source, chunk, CommonBytes));
        else if (isId3(chunk.id))
            addId3v2At(reading.tags, source, chunk.offset, inFile(source, chunk));
        else if (riffField(AiffFields, chunk.id))
            texts.push_back(chunk);
        return true;
    });
    reading.tags.texts.beginTag();
    for (const Chunk& chunk : texts)
        addAiffText(reading.tags, chunk.id, contentOf(source, chunk, MaxInfoBytes));
    if (aiff.sound.sampleRate == 0 || aiff.sound.channels == 0)
        return notMedia("an AIFF file without sound");
    putSound(reading.facts, aiff.sound);
    return {};
}

} // namespace mv
