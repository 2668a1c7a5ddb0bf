#include "platform/audio/MpegFrameHeader.h"

#include <array>

namespace mv {

std::optional<MpegFrameHeader> MpegFrameHeader::parse(ByteView bytes)
{
    constexpr std::array<std::uint32_t, 3> Rates { 44100, 48000, 32000 };
    if (bytes.size() < 4 || bytes[0] != 0xFF || (bytes[1] & 0xE0) != 0xE0)
        return std::nullopt;
    unsigned version = bytes[1] >> 3 & 3; // 3: MPEG 1, 2: MPEG 2, 0: MPEG 2.5, 1: none
    unsigned layerBits = bytes[1] >> 1 & 3; // 3: layer 1 ... 1: layer 3, 0: none
    unsigned bitRate = bytes[2] >> 4;
    unsigned rate = bytes[2] >> 2 & 3;
    if (version == 1 || layerBits == 0 || bitRate == 0 || bitRate == 15 || rate == 3)
        return std::nullopt;
    MpegFrameHeader header;
    bool lowRate = version != 3;
    header.layer = static_cast<int>(4 - layerBits);
    header.sampleRate = Rates[rate] >> (version == 3 ? 0 : version == 2 ? 1 : 2);
    header.channels = bytes[3] >> 6 == 3 ? 1 : 2;
    header.samplesPerFrame = header.layer == 1 ? 384 : header.layer == 3 && lowRate ? 576 : 1152;
    return header;
}

} // namespace mv
