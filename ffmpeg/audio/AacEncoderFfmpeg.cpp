#include "ffmpeg/audio/AacEncoderFfmpeg.h"

#include "audio/AudioStatus.h"
#include "ffmpeg/FfmpegError.h"
#include "ffmpeg/Handles.h"

#include <algorithm>
#include <array>
#include <cmath>

namespace mv {

namespace {

// The usual speakers of so many channels, as WAVE and FLAC files have them.
constexpr std::array<std::uint64_t, 9> ChannelMasks = {
    0,
    AV_CH_LAYOUT_MONO,
    AV_CH_LAYOUT_STEREO,
    AV_CH_LAYOUT_SURROUND,
    AV_CH_LAYOUT_QUAD,
    AV_CH_LAYOUT_5POINT0_BACK,
    AV_CH_LAYOUT_5POINT1_BACK,
    AV_CH_LAYOUT_6POINT1,
    AV_CH_LAYOUT_7POINT1,
};

Error encoderError(int code, const char* what)
{
    Error error = ffmpegError(code, what);
    error.code = kAudioFileUnsupportedDataFormatError;
    return error;
}

// The encoder cuts a bit rate that is too high by itself; one of a few bits per second it refuses.
constexpr std::uint32_t MinBitRate = 1000;

class FfmpegAacEncoder final : public AacEncoder {
public:
    Result<void> open(const AacEncoderSettings& settings);

    const Bytes& audioSpecificConfig() const override { return m_config; }
    std::uint32_t framesPerPacket() const override { return static_cast<std::uint32_t>(m_context->frame_size); }
    std::uint32_t primingFrames() const override { return static_cast<std::uint32_t>(m_context->initial_padding); }

    Result<void> encode(const float* const* planes, std::uint32_t count, const PacketSink& sink) override;
    Result<std::uint64_t> finish(const PacketSink& sink) override;

private:
    Result<void> openResampler(const AacEncoderSettings& settings);
    Result<void> resample(const float* const* planes, std::uint32_t count, const PacketSink& sink);
    Result<void> fill(const float* const* planes, std::uint32_t count, const PacketSink& sink);
    Result<void> prepareFrame();
    Result<void> send(const AVFrame* frame, const PacketSink& sink);
    Result<void> sendFrame(const PacketSink& sink);
    void settle(int size);

    CodecContext m_context;
    Resampler m_resampler; // null when the rates are equal
    FrameHandle m_frame = makeFrame();
    FrameHandle m_resampled = makeFrame();
    PacketHandle m_packet = makePacket();
    Bytes m_config;
    int m_filled = 0; // frames in m_frame
    std::int64_t m_bitRate = 0;
    std::uint32_t m_settling = 0; // packets that are left of it
    std::uint64_t m_frames = 0; // that went into the stream
};

Result<void> FfmpegAacEncoder::open(const AacEncoderSettings& settings)
{
    const AVCodec* codec = avcodec_find_encoder(AV_CODEC_ID_AAC);
    m_context.reset(codec ? avcodec_alloc_context3(codec) : nullptr);
    if (!m_context || !m_frame || !m_resampled || !m_packet)
        return encoderError(AVERROR_ENCODER_NOT_FOUND, "no AAC encoder");
    m_context->sample_rate = static_cast<int>(settings.rate);
    m_context->sample_fmt = AV_SAMPLE_FMT_FLTP;
    m_context->bit_rate = std::max(settings.bitRate, MinBitRate);
    m_context->time_base = { 1, static_cast<int>(settings.rate) };
    m_context->flags |= AV_CODEC_FLAG_GLOBAL_HEADER;
    m_context->thread_count = 1;
    int status = settings.channels < ChannelMasks.size()
        ? av_channel_layout_from_mask(&m_context->ch_layout, ChannelMasks[settings.channels])
        : AVERROR(EINVAL);
    if (status < 0)
        return encoderError(status, "too many channels");
    status = avcodec_open2(m_context.get(), codec, nullptr);
    if (status < 0)
        return encoderError(status, "cannot encode AAC");
    m_bitRate = m_context->bit_rate;
    m_settling = settings.settlingPackets;
    m_config.assign(m_context->extradata, m_context->extradata + m_context->extradata_size);
    return settings.inputRate == settings.rate ? Result<void> {} : openResampler(settings);
}

Result<void> FfmpegAacEncoder::openResampler(const AacEncoderSettings& settings)
{
    SwrContext* made = nullptr;
    int status = swr_alloc_set_opts2(&made, &m_context->ch_layout, AV_SAMPLE_FMT_FLTP, m_context->sample_rate,
        &m_context->ch_layout, AV_SAMPLE_FMT_FLTP, static_cast<int>(settings.inputRate), 0, nullptr);
    m_resampler.reset(made);
    if (status >= 0)
        status = swr_init(m_resampler.get());
    if (status < 0)
        return encoderError(status, "cannot resample");
    return {};
}

Result<void> FfmpegAacEncoder::encode(const float* const* planes, std::uint32_t count, const PacketSink& sink)
{
    return m_resampler ? resample(planes, count, sink) : fill(planes, count, sink);
}

// Null planes empty the resampler.
Result<void> FfmpegAacEncoder::resample(const float* const* planes, std::uint32_t count, const PacketSink& sink)
{
    int room = swr_get_out_samples(m_resampler.get(), static_cast<int>(count));
    if (room <= 0)
        return {};
    av_frame_unref(m_resampled.get());
    m_resampled->format = AV_SAMPLE_FMT_FLTP;
    m_resampled->nb_samples = room;
    int status = av_channel_layout_copy(&m_resampled->ch_layout, &m_context->ch_layout);
    if (status >= 0)
        status = av_frame_get_buffer(m_resampled.get(), 0);
    if (status < 0)
        return encoderError(status, "cannot resample");
    std::array<const std::uint8_t*, ChannelMasks.size()> input {};
    for (int i = 0; planes && i < m_context->ch_layout.nb_channels; ++i)
        input[static_cast<std::size_t>(i)] = reinterpret_cast<const std::uint8_t*>(planes[i]);
    int made = swr_convert(
        m_resampler.get(), m_resampled->extended_data, room, planes ? input.data() : nullptr, static_cast<int>(count));
    if (made < 0)
        return encoderError(made, "cannot resample");
    return fill(
        reinterpret_cast<const float* const*>(m_resampled->extended_data), static_cast<std::uint32_t>(made), sink);
}

Result<void> FfmpegAacEncoder::fill(const float* const* planes, std::uint32_t count, const PacketSink& sink)
{
    int left = static_cast<int>(count);
    for (int done = 0; left > 0;) {
        if (m_filled == 0)
            MV_TRY_VOID(prepareFrame());
        int part = std::min(left, m_context->frame_size - m_filled);
        for (int channel = 0; channel < m_context->ch_layout.nb_channels; ++channel)
            std::copy_n(
                planes[channel] + done, part, reinterpret_cast<float*>(m_frame->extended_data[channel]) + m_filled);
        m_filled += part;
        done += part;
        left -= part;
        if (m_filled == m_context->frame_size)
            MV_TRY_VOID(sendFrame(sink));
    }
    return {};
}

Result<void> FfmpegAacEncoder::prepareFrame()
{
    int status = 0;
    if (!m_frame->buf[0]) {
        m_frame->format = m_context->sample_fmt;
        m_frame->sample_rate = m_context->sample_rate;
        m_frame->nb_samples = m_context->frame_size;
        status = av_channel_layout_copy(&m_frame->ch_layout, &m_context->ch_layout);
        if (status >= 0)
            status = av_frame_get_buffer(m_frame.get(), 0);
    } else {
        m_frame->nb_samples = m_context->frame_size;
        status = av_frame_make_writable(m_frame.get());
    }
    return status < 0 ? Result<void>(encoderError(status, "cannot encode")) : Result<void> {};
}

Result<void> FfmpegAacEncoder::sendFrame(const PacketSink& sink)
{
    m_frame->nb_samples = m_filled;
    m_frame->pts = static_cast<std::int64_t>(m_frames);
    m_frames += static_cast<std::uint64_t>(m_filled);
    m_filled = 0;
    return send(m_frame.get(), sink);
}

Result<void> FfmpegAacEncoder::send(const AVFrame* frame, const PacketSink& sink)
{
    int status = avcodec_send_frame(m_context.get(), frame);
    while (status >= 0) {
        status = avcodec_receive_packet(m_context.get(), m_packet.get());
        if (status < 0)
            break;
        settle(m_packet->size);
        auto taken = sink(ByteView(m_packet->data, static_cast<std::size_t>(m_packet->size)));
        av_packet_unref(m_packet.get());
        if (!taken)
            return taken;
    }
    if (status == AVERROR(EAGAIN) || status == AVERROR_EOF)
        return {};
    return encoderError(status, "cannot encode");
}

// From packet to packet the encoder multiplies what steers its quality by about the fourth root of the ratio of wanted
// to used bits, and begins far below where it stays: it gets there in 5 to 15 seconds, with a steady tone later still.
// It looks at the bit rate anew for each packet: one that exaggerates how far off the packet before was takes it there
// in half a second.
void FfmpegAacEncoder::settle(int size)
{
    constexpr double MaxFactor = 2.2;
    if (m_settling == 0 || size <= 0)
        return;
    double wanted = static_cast<double>(m_bitRate) / 8 * m_context->frame_size / m_context->sample_rate;
    double off = wanted / size;
    double factor = --m_settling == 0 ? 1 : std::clamp(off * off * off, 1 / MaxFactor, MaxFactor);
    m_context->bit_rate = std::llround(static_cast<double>(m_bitRate) * factor);
}

Result<std::uint64_t> FfmpegAacEncoder::finish(const PacketSink& sink)
{
    if (m_resampler)
        MV_TRY_VOID(resample(nullptr, 0, sink));
    if (m_filled > 0)
        MV_TRY_VOID(sendFrame(sink));
    // An encoder that was given nothing has nothing to empty.
    if (m_frames > 0)
        MV_TRY_VOID(send(nullptr, sink));
    return m_frames;
}

} // namespace

Result<std::unique_ptr<AacEncoder>> makeFfmpegAacEncoder(const AacEncoderSettings& settings)
{
    auto encoder = std::make_unique<FfmpegAacEncoder>();
    MV_TRY_VOID(encoder->open(settings));
    return std::unique_ptr<AacEncoder>(std::move(encoder));
}

} // namespace mv
