#include "audio/FlacHeader.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <array>
#include <bit>

namespace mv {

namespace {

// Checksum tables, one entry for each value of the byte that is taken in.
constexpr std::array<std::uint8_t, 256> Crc8Table = [] {
    std::array<std::uint8_t, 256> table {};
    for (unsigned value = 0; value < 256; ++value) {
        unsigned crc = value;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x80 ? crc << 1 ^ 0x07 : crc << 1;
        table[value] = static_cast<std::uint8_t>(crc);
    }
    return table;
}();

constexpr std::array<std::uint16_t, 256> Crc16Table = [] {
    std::array<std::uint16_t, 256> table {};
    for (unsigned value = 0; value < 256; ++value) {
        unsigned crc = value << 8;
        for (int bit = 0; bit < 8; ++bit)
            crc = crc & 0x8000 ? crc << 1 ^ 0x8005 : crc << 1;
        table[value] = static_cast<std::uint16_t>(crc);
    }
    return table;
}();

// Codes 12 to 14 say where the rate is written; 15 is invalid; 0 means that of the stream.
constexpr std::array<std::uint32_t, 12> SampleRates
    = { 0, 88200, 176400, 192000, 8000, 16000, 22050, 24000, 32000, 44100, 48000, 96000 };
// 3 is reserved; 0 means that of the stream.
constexpr std::array<std::uint32_t, 8> SampleSizes = { 0, 8, 12, 0, 16, 20, 24, 32 };
constexpr unsigned ReservedSampleSize = 3;
constexpr unsigned LastIndependentChannelCode = 7; // the code is the number of channels less one
constexpr unsigned LastStereoChannelCode = 10; // left/side, side/right, mid/side

constexpr std::size_t MaxFrameHeader = 16;

// A number in the manner of UTF-8, of up to 7 bytes.
std::optional<std::uint64_t> codedNumber(ByteReader& reader)
{
    unsigned first = reader.u8();
    if (first < 0x80)
        return first;
    int leadingOnes = std::countl_one(static_cast<std::uint8_t>(first));
    if (leadingOnes < 2 || leadingOnes > 7)
        return std::nullopt;
    std::uint64_t value = leadingOnes == 7 ? 0 : first & (0x7Fu >> leadingOnes);
    for (int i = 1; i < leadingOnes; ++i) {
        unsigned next = reader.u8();
        if ((next & 0xC0) != 0x80)
            return std::nullopt;
        value = value << 6 | (next & 0x3F);
    }
    return value;
}

std::uint32_t blockSizeOf(unsigned code, ByteReader& reader)
{
    switch (code) {
    case 0:
        return 0; // reserved
    case 1:
        return 192;
    case 6:
        return reader.u8() + 1u;
    case 7:
        return reader.u16be() + 1u;
    default:
        return code < 6 ? 576u << (code - 2) : 256u << (code - 8);
    }
}

std::uint32_t sampleRateOf(unsigned code, ByteReader& reader)
{
    switch (code) {
    case 12:
        return reader.u8() * 1000u;
    case 13:
        return reader.u16be();
    case 14:
        return reader.u16be() * 10u;
    default:
        return SampleRates[code];
    }
}

bool fits(unsigned channelCode, unsigned sizeCode, const FlacStreamInfo& info)
{
    std::uint32_t channels = channelCode <= LastIndependentChannelCode ? channelCode + 1 : 2;
    std::uint32_t bits = sizeCode == 0 ? info.bitsPerSample : SampleSizes[sizeCode];
    return channels == info.channels && bits == info.bitsPerSample;
}

} // namespace

std::uint8_t flacCrc8(ByteView bytes)
{
    std::uint8_t crc = 0;
    for (std::uint8_t byte : bytes)
        crc = Crc8Table[crc ^ byte];
    return crc;
}

std::uint16_t flacCrc16(std::uint16_t state, ByteView bytes)
{
    for (std::uint8_t byte : bytes)
        state = static_cast<std::uint16_t>(state << 8 ^ Crc16Table[state >> 8 ^ byte]);
    return state;
}

Result<FlacStreamInfo> FlacStreamInfo::parse(ByteView start)
{
    ByteReader reader(start);
    if (charsOf(reader.take(4)) != "fLaC")
        return Error { Error::Kind::Unsupported, "not FLAC" };
    constexpr std::uint32_t TypeMask = 0x7F000000; // the bit above it says "last block"
    std::uint32_t blockHeader = reader.u32be();
    if ((blockHeader & TypeMask) != 0 || (blockHeader & 0xFFFFFF) != Size)
        return Error { Error::Kind::Format, "the first block is not STREAMINFO" };
    FlacStreamInfo info;
    info.minimumBlock = reader.u16be();
    info.maximumBlock = reader.u16be();
    reader.skip(6); // the smallest and largest frame in bytes
    std::uint64_t packed = reader.u64be();
    info.sampleRate = static_cast<std::uint32_t>(packed >> 44);
    info.channels = static_cast<std::uint32_t>(packed >> 41 & 7) + 1;
    info.bitsPerSample = static_cast<std::uint32_t>(packed >> 36 & 31) + 1;
    info.totalFrames = packed & 0xFFFFFFFFF;
    reader.skip(16); // checksum of the audio
    if (reader.failed() || info.sampleRate == 0)
        return Error { Error::Kind::Format, "STREAMINFO is damaged" };
    return info;
}

std::optional<FlacFrameHeader> FlacFrameHeader::parse(ByteView bytes, const FlacStreamInfo& info)
{
    ByteReader reader(bytes.first(std::min(bytes.size(), MaxFrameHeader)));
    std::uint32_t fixed = reader.u32be();
    if (fixed >> 17 != 0x7FFC) // 14 bits of sync and a zero; the next bit is the blocking strategy
        return std::nullopt;
    bool variableBlocks = fixed >> 16 & 1;
    unsigned blockCode = fixed >> 12 & 15;
    unsigned rateCode = fixed >> 8 & 15;
    unsigned channelCode = fixed >> 4 & 15;
    unsigned sizeCode = fixed >> 1 & 7;
    if ((fixed & 1) != 0 || blockCode == 0 || rateCode == 15 || channelCode > LastStereoChannelCode
        || sizeCode == ReservedSampleSize || !fits(channelCode, sizeCode, info))
        return std::nullopt;
    auto number = codedNumber(reader);
    if (!number)
        return std::nullopt;
    FlacFrameHeader header;
    header.blockSize = blockSizeOf(blockCode, reader);
    std::uint32_t rate = sampleRateOf(rateCode, reader);
    reader.u8(); // the checksum
    if (reader.failed() || (rateCode != 0 && rate != info.sampleRate) || flacCrc8(bytes.first(reader.position())) != 0)
        return std::nullopt;
    header.size = reader.position();
    header.firstSample = variableBlocks ? *number : *number * info.minimumBlock;
    return header;
}

} // namespace mv
