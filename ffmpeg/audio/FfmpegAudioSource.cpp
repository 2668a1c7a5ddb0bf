#include "ffmpeg/audio/FfmpegAudioSource.h"

#include "ffmpeg/FfmpegError.h"
#include "ffmpeg/audio/FileDataFormat.h"

namespace mv {

namespace {

std::optional<SampleKind> sampleKind(int format)
{
    switch (av_get_packed_sample_fmt(static_cast<AVSampleFormat>(format))) {
    case AV_SAMPLE_FMT_U8:
        return SampleKind::Unsigned8;
    case AV_SAMPLE_FMT_S16:
        return SampleKind::Signed16;
    case AV_SAMPLE_FMT_S32:
        return SampleKind::Signed32;
    case AV_SAMPLE_FMT_FLT:
        return SampleKind::Float32;
    case AV_SAMPLE_FMT_DBL:
        return SampleKind::Float64;
    default: // 64-bit integers
        return std::nullopt;
    }
}

// A run as a frame of its own, for the resampler takes whole frames. Null without memory.
FrameHandle partOf(const FrameDecoder::Run& run)
{
    FrameHandle part = makeFrame();
    if (!part || av_frame_ref(part.get(), run.frame) < 0)
        return nullptr;
    auto format = static_cast<AVSampleFormat>(part->format);
    bool planar = av_sample_fmt_is_planar(format);
    int step = av_get_bytes_per_sample(format) * (planar ? 1 : part->ch_layout.nb_channels);
    for (int i = 0; i < (planar ? part->ch_layout.nb_channels : 1); ++i)
        part->extended_data[i] += static_cast<std::ptrdiff_t>(step) * run.first;
    part->nb_samples = run.count;
    return part;
}

} // namespace

Result<std::unique_ptr<AudioSource>> FfmpegAudioSource::open(const SharedSource& file)
{
    MV_TRY(count, countFrames(file));
    MV_TRY(input, AudioInput::open(file));
    std::unique_ptr<FfmpegAudioSource> source(new FfmpegAudioSource(std::move(input), count.end));
    source->m_format.frames = count.frames;
    return std::unique_ptr<AudioSource>(std::move(source));
}

FfmpegAudioSource::FfmpegAudioSource(AudioInput input, FrameDecoder::End end)
    : m_input(std::move(input))
    , m_decoder(m_input, end)
    , m_converted(makeFrame())
{
    const AVCodecParameters& parameters = m_input.parameters();
    m_format.description = fileDataFormat(m_input.codec(), parameters);
    if (parameters.ch_layout.order == AV_CHANNEL_ORDER_NATIVE)
        m_format.channelMask = parameters.ch_layout.u.mask;
}

Result<DecodedFrames> FfmpegAudioSource::next()
{
    while (true) {
        MV_TRY(run, m_decoder.next());
        if (!run.frame)
            return DecodedFrames {};
        if (!needsConversion(*run.frame))
            return present(*run.frame, run.first, run.count);
        MV_TRY(frames, converted(run));
        if (frames.count > 0)
            return frames;
    }
}

bool FfmpegAudioSource::needsConversion(const AVFrame& frame) const
{
    const AVCodecParameters& parameters = m_input.parameters();
    return !sampleKind(frame.format) || frame.sample_rate != parameters.sample_rate
        || frame.ch_layout.nb_channels != parameters.ch_layout.nb_channels;
}

Result<DecodedFrames> FfmpegAudioSource::converted(const FrameDecoder::Run& run)
{
    FrameHandle part = partOf(run);
    int status = part ? resample(*part) : AVERROR(ENOMEM);
    if (status == AVERROR_INPUT_CHANGED) {
        m_resampler.reset();
        status = resample(*part);
    }
    if (status < 0)
        return Error { Error::Kind::Format, ffmpegErrorText(status), kAudioFileInvalidFileError };
    return present(*m_converted, 0, m_converted->nb_samples);
}

int FfmpegAudioSource::resample(const AVFrame& part)
{
    const AVCodecParameters& parameters = m_input.parameters();
    if (!m_resampler)
        m_resampler.reset(swr_alloc());
    if (!m_resampler || !m_converted)
        return AVERROR(ENOMEM);
    av_frame_unref(m_converted.get());
    m_converted->format = AV_SAMPLE_FMT_S32;
    m_converted->sample_rate = parameters.sample_rate;
    int status = av_channel_layout_copy(&m_converted->ch_layout, &parameters.ch_layout);
    return status < 0 ? status : swr_convert_frame(m_resampler.get(), m_converted.get(), &part);
}

DecodedFrames FfmpegAudioSource::present(const AVFrame& frame, int first, int count)
{
    auto format = static_cast<AVSampleFormat>(frame.format);
    bool planar = av_sample_fmt_is_planar(format);
    int channels = frame.ch_layout.nb_channels;
    int step = av_get_bytes_per_sample(format) * (planar ? 1 : channels);
    for (int i = 0; i < (planar ? channels : 1); ++i)
        m_planes[static_cast<std::size_t>(i)] = frame.extended_data[i] + static_cast<std::ptrdiff_t>(step) * first;
    return { *sampleKind(frame.format), planar, static_cast<std::uint32_t>(channels), static_cast<std::uint32_t>(count),
        m_planes.data() };
}

} // namespace mv
