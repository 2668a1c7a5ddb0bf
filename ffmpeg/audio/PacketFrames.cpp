#include "ffmpeg/audio/PacketFrames.h"

#include "Base/Core/ByteReader.h"
#include "id3/MpegHeader.h"

#include <algorithm>

namespace mv {

namespace {

constexpr std::int64_t MaxFrames = 65'536; // the longest packet of any format here

std::int64_t byDuration(AudioInput& input, const AVPacket& packet)
{
    if (packet.duration <= 0)
        return 0;
    return av_rescale_q(packet.duration, input.stream().time_base, { 1, input.parameters().sample_rate });
}

std::int64_t mpegFrames(ByteView packet)
{
    std::size_t zeros = 0; // the decoder skips them too
    while (zeros < packet.size() && packet[zeros] == 0)
        ++zeros;
    auto header = MpegHeader::parse(packet.subspan(zeros));
    return header && !header->isFreeFormat() ? header->samplesPerFrame : 0;
}

// The usual number of frames in a packet stands behind size, name and version of the codec's configuration.
std::int64_t losslessPacketFrames(const AVCodecParameters& parameters)
{
    if (!parameters.extradata || parameters.extradata_size < 16)
        return 0;
    ByteReader reader({ parameters.extradata, static_cast<std::size_t>(parameters.extradata_size) });
    reader.skip(12);
    return reader.u32be();
}

// An element's header: 3 bits of kind, 4 of number, 12 unused, 1 "size follows", 2 shift, 1 uncompressed, [32 size].
std::int64_t losslessFrames(ByteView packet, std::int64_t usual)
{
    constexpr unsigned SizeFollows = 0x10;
    ByteReader reader(packet);
    reader.skip(2);
    bool sizeFollows = reader.u8() & SizeFollows;
    if (!sizeFollows || reader.failed())
        return usual;
    reader.seek(2);
    std::uint64_t bits = static_cast<std::uint64_t>(reader.u8()) << 32 | reader.u32be(); // bits 16 to 55
    std::int64_t size = static_cast<std::int64_t>(bits >> 1 & 0xFFFFFFFF);
    return reader.failed() || size > usual ? usual : size; // a damaged header: the rest of the file is as usual
}

} // namespace

std::int64_t packetFrames(AudioInput& input, const AVPacket& packet)
{
    ByteView bytes(packet.data, static_cast<std::size_t>(packet.size));
    std::int64_t frames = 0;
    switch (input.codec().codec_id) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
        frames = mpegFrames(bytes);
        break;
    case AV_CODEC_ID_ALAC:
        frames = losslessFrames(bytes, losslessPacketFrames(input.parameters()));
        break;
    case AV_CODEC_ID_AAC:
        frames = input.codec().frame_size > 0 ? input.codec().frame_size : input.parameters().frame_size;
        break;
    case AV_CODEC_ID_AMR_NB:
        frames = 160;
        break;
    case AV_CODEC_ID_AMR_WB:
        frames = 320;
        break;
    default:
        if (isSampled(input.codec().codec_id))
            frames = av_get_audio_frame_duration2(&input.parameters(), packet.size);
        if (frames <= 0)
            frames = byDuration(input, packet);
    }
    return std::clamp<std::int64_t>(frames, 0, MaxFrames);
}

bool isOneFrameAPacket(AVCodecID id)
{
    switch (id) {
    case AV_CODEC_ID_MP1:
    case AV_CODEC_ID_MP2:
    case AV_CODEC_ID_MP3:
    case AV_CODEC_ID_AAC:
    case AV_CODEC_ID_ALAC:
    case AV_CODEC_ID_AMR_NB:
    case AV_CODEC_ID_AMR_WB:
        return true;
    default:
        return false;
    }
}

GapTrim::Kept GapTrim::keep(std::int64_t count, std::int64_t skip, std::int64_t discard, bool unwanted)
{
    m_skip += skip;
    std::int64_t first = std::min(m_skip, count);
    m_skip -= first;
    if (unwanted)
        return {};
    return { first, std::max<std::int64_t>(0, count - first - discard) };
}

DeclaredGap DeclaredGap::read(const std::uint8_t* data, std::size_t size)
{
    if (!data || size < 8)
        return {};
    ByteReader reader({ data, size });
    std::uint32_t skip = reader.u32le();
    return { skip, reader.u32le() };
}

DeclaredGap DeclaredGap::of(const AVPacket& packet)
{
    std::size_t size = 0;
    const std::uint8_t* data = av_packet_get_side_data(&packet, AV_PKT_DATA_SKIP_SAMPLES, &size);
    return read(data, size);
}

DeclaredGap DeclaredGap::of(const AVFrame& frame)
{
    const AVFrameSideData* gap = av_frame_get_side_data(&frame, AV_FRAME_DATA_SKIP_SAMPLES);
    return gap ? read(gap->data, gap->size) : DeclaredGap {};
}

} // namespace mv
