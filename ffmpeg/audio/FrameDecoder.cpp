#include "ffmpeg/audio/FrameDecoder.h"

#include "ffmpeg/FfmpegError.h"

#include <algorithm>

namespace mv {

namespace {

// A gap of silence is at most this long; bounds what damage can cost.
constexpr std::int64_t MaxSilence = 65'536;

} // namespace

FrameDecoder::FrameDecoder(AudioInput& input, End end)
    : m_input(input)
    , m_end(end)
    , m_packet(makePacket())
    , m_frame(makeFrame())
    , m_silence(makeFrame())
{
}

Result<FrameDecoder::Run> FrameDecoder::next()
{
    if (!m_packet || !m_frame || !m_silence)
        return Error { Error::Kind::Limit, "no memory", memFullErr };
    while (true) {
        if (m_frameWaits) {
            m_frameWaits = false;
            if (Run run = trimmed(); run.count > 0)
                return run;
        }
        int status = receive();
        if (status >= 0) {
            m_frameWaits = true;
            bool gap = m_anyGood && makeSilence();
            m_anyGood = true;
            m_owed = false;
            m_damaged = 0;
            if (gap)
                return Run { m_silence.get(), 0, m_silence->nb_samples };
            continue;
        }
        if (m_draining)
            return Run {};
        if (status != AVERROR(EAGAIN) || m_owed)
            noteDamage();
        MV_TRY_VOID(feed());
    }
}

int FrameDecoder::receive()
{
    av_frame_unref(m_frame.get());
    return avcodec_receive_frame(&m_input.codec(), m_frame.get());
}

Result<void> FrameDecoder::feed()
{
    MV_TRY(more, m_input.read(*m_packet));
    m_draining = !more;
    int status = avcodec_send_packet(&m_input.codec(), more ? m_packet.get() : nullptr);
    if (more && status < 0)
        noteDamage();
    m_owed = more && status >= 0 && isOneFrameAPacket(m_input.codec().codec_id);
    return {};
}

void FrameDecoder::noteDamage() { m_damaged = std::min(MaxSilence, m_damaged + packetFrames(m_input, *m_packet)); }

// A frame of silence in the shape of the one that follows it.
bool FrameDecoder::makeSilence()
{
    if (m_damaged == 0)
        return false;
    av_frame_unref(m_silence.get());
    m_silence->format = m_frame->format;
    m_silence->sample_rate = m_frame->sample_rate;
    m_silence->nb_samples = static_cast<int>(m_damaged);
    if (av_channel_layout_copy(&m_silence->ch_layout, &m_frame->ch_layout) < 0
        || av_frame_get_buffer(m_silence.get(), 0) < 0)
        return false;
    av_samples_set_silence(m_silence->extended_data, 0, m_silence->nb_samples, m_silence->ch_layout.nb_channels,
        static_cast<AVSampleFormat>(m_silence->format));
    return true;
}

FrameDecoder::Run FrameDecoder::trimmed()
{
    DeclaredGap gap = DeclaredGap::of(*m_frame);
    std::int64_t discard = m_end == End::Trimmed ? gap.discard : 0;
    auto kept = m_trim.keep(m_frame->nb_samples, gap.skip, discard, m_frame->flags & AV_FRAME_FLAG_DISCARD);
    return { m_frame.get(), static_cast<int>(kept.first), static_cast<int>(kept.count) };
}

} // namespace mv
