#include "id3/MpegHeader.h"

#include <array>

namespace mv {

namespace {

using RateRow = std::array<int, 15>;

// kbit/s by index; 0 is the free format.
constexpr RateRow Mpeg1Layer1 = { 0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416, 448 };
constexpr RateRow Mpeg1Layer2 = { 0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384 };
constexpr RateRow Mpeg1Layer3 = { 0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 };
constexpr RateRow Mpeg2Layer1 = { 0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256 };
constexpr RateRow Mpeg2Layer23 = { 0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 };

constexpr std::array Mpeg1SampleRates = { 44100, 48000, 32000 };

const RateRow& bitrates(MpegHeader::Version version, int layer)
{
    if (version == MpegHeader::Version::Mpeg1)
        return layer == 1 ? Mpeg1Layer1 : layer == 2 ? Mpeg1Layer2 : Mpeg1Layer3;
    return layer == 1 ? Mpeg2Layer1 : Mpeg2Layer23;
}

int samplesPerFrame(MpegHeader::Version version, int layer)
{
    if (layer == 1)
        return 384;
    return layer == 3 && version != MpegHeader::Version::Mpeg1 ? 576 : 1152;
}

} // namespace

std::optional<MpegHeader> MpegHeader::parse(ByteView bytes)
{
    if (bytes.size() < Size || bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0)
        return std::nullopt;
    constexpr unsigned ReservedVersion = 1;
    constexpr unsigned ReservedLayer = 0;
    constexpr unsigned ReservedBitrate = 15;
    constexpr unsigned ReservedSampleRate = 3;
    unsigned versionBits = bytes[1] >> 3 & 3;
    unsigned layerBits = bytes[1] >> 1 & 3;
    unsigned bitrateIndex = bytes[2] >> 4;
    unsigned sampleRateIndex = bytes[2] >> 2 & 3;
    if (versionBits == ReservedVersion || layerBits == ReservedLayer || bitrateIndex == ReservedBitrate
        || sampleRateIndex == ReservedSampleRate)
        return std::nullopt;
    MpegHeader header;
    header.version = versionBits == 3 ? Version::Mpeg1 : versionBits == 2 ? Version::Mpeg2 : Version::Mpeg25;
    header.layer = static_cast<int>(4 - layerBits);
    header.bitrate = bitrates(header.version, header.layer)[bitrateIndex] * 1000;
    // MPEG-2 halves the rates, 2.5 quarters them.
    int divisor = header.version == Version::Mpeg1 ? 1 : header.version == Version::Mpeg2 ? 2 : 4;
    header.sampleRate = Mpeg1SampleRates[sampleRateIndex] / divisor;
    header.samplesPerFrame = mv::samplesPerFrame(header.version, header.layer);
    header.isMono = bytes[3] >> 6 == 3;
    header.isProtected = (bytes[1] & 1) == 0;
    header.isPadded = bytes[2] >> 1 & 1;
    return header;
}

std::size_t MpegHeader::frameSize() const
{
    if (isFreeFormat())
        return 0;
    int slots = samplesPerFrame / 8 / slotSize() * bitrate / sampleRate + (isPadded ? 1 : 0);
    return static_cast<std::size_t>(slots) * static_cast<std::size_t>(slotSize());
}

} // namespace mv
