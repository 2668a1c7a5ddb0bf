#include "ffmpeg/movies/FrameGrabber.h"

#include "ffmpeg/FfmpegError.h"
#include "ffmpeg/FfmpegVersions.h"

#include <algorithm>
#include <limits>
#include <string_view>

namespace mv {

namespace {

/// Decoding one frame while another waits uses a second core; more threads hold more frames than they save time.
constexpr int DecoderThreads = 2;

/// Of all streams, until a frame that needs no other one has to be there: half a minute of a video with much sound.
constexpr int MaxPacketsToKey = 4000;

/// Microseconds to seek earlier, one try after the other, when the first frame out of the decoder is later than the
/// one wanted: indexes of AVI point at packets by decoding order. The last goes to the start of any file.
constexpr std::int64_t StepsBack[] = { 0, 500'000, 2'000'000, 8'000'000, std::numeric_limits<std::int64_t>::max() };

} // namespace

Result<std::unique_ptr<FrameGrabber>> FrameGrabber::create(MediaInput& input, AVStream& stream)
{
    std::unique_ptr<FrameGrabber> grabber(new FrameGrabber(input, stream));
    MV_TRY_VOID(grabber->openDecoder());
    AVFormatContext& context = input.context();
    for (unsigned i = 0; i < context.nb_streams; ++i)
        context.streams[i]->discard = context.streams[i] == &stream ? AVDISCARD_DEFAULT : AVDISCARD_ALL;
    return grabber;
}

Result<void> FrameGrabber::openDecoder()
{
    const AVCodec* codec = avcodec_find_decoder(m_stream.codecpar->codec_id);
    if (!codec)
        return ffmpegError(AVERROR_DECODER_NOT_FOUND, "cannot decode");
    m_decoder.reset(avcodec_alloc_context3(codec));
    if (!m_decoder)
        return ffmpegError(AVERROR(ENOMEM), "cannot decode");
    int status = avcodec_parameters_to_context(m_decoder.get(), m_stream.codecpar);
    if (status < 0)
        return ffmpegError(status, "cannot decode");
    m_decoder->pkt_timebase = m_stream.time_base;
    bool isLarge = std::int64_t { m_decoder->width } * m_decoder->height > MaxThreadedFrame;
    m_decoder->thread_count = isLarge ? 1 : DecoderThreads;
    m_decoder->max_pixels = MaxPixels;
    m_budget.watch(*m_decoder);
    status = avcodec_open2(m_decoder.get(), codec, nullptr);
    if (status < 0)
        return ffmpegError(status, "cannot decode");
    return {};
}

void FrameGrabber::rewindTo(std::int64_t time)
{
    // A failed seek leaves the demuxer where it is; the times of the frames tell whether that was early enough.
    av_seek_frame(&m_input.context(), m_stream.index, time, AVSEEK_FLAG_BACKWARD);
    avcodec_flush_buffers(m_decoder.get());
}

void FrameGrabber::rewindToStart()
{
    // MPEG streams have no index: a search by time can end behind the first key frame.
    if (std::string_view(m_input.context().iformat->name).starts_with("mpeg")) {
        av_seek_frame(&m_input.context(), -1, 0, AVSEEK_FLAG_BYTE);
        avcodec_flush_buffers(m_decoder.get());
    } else {
        rewindTo(m_stream.start_time == AV_NOPTS_VALUE ? 0 : m_stream.start_time);
    }
}

/// ISO media count from the movie's start, other containers from wherever their first stream begins.
std::int64_t FrameGrabber::origin() const
{
    std::int64_t start = m_input.context().start_time;
    return m_input.isIsoMedia() || start == AV_NOPTS_VALUE ? 0 : start;
}

Result<std::int64_t> FrameGrabber::inMovie(std::int64_t time) const
{
    if (__builtin_add_overflow(origin(), time, &time))
        return Error { Error::Kind::Format, "no such time" };
    return time;
}

Result<FrameHandle> FrameGrabber::keyFrameBefore(std::int64_t time)
{
    MV_TRY(moment, inMovie(time));
    rewindTo(inStreamTime(moment));
    if (FrameHandle frame = nextKeyFrame())
        return frame;
    rewindTo(inStreamTime(moment));
    Candidate first = decodeUpTo(std::numeric_limits<std::int64_t>::min());
    return first.frame ? Result<FrameHandle>(std::move(first.frame)) : frameAt(time);
}

/// Decodes the next packet that says it needs no other one, and nothing behind it: a decoder that is told of the end
/// gives out at once what it would else hold back until later frames have come. Null where that makes no whole frame,
/// as with one field of two.
FrameHandle FrameGrabber::nextKeyFrame()
{
    PacketHandle packet = makePacket();
    FrameHandle frame = makeFrame();
    bool isKey = false;
    for (int i = 0; packet && frame && !isKey && i < MaxPacketsToKey && !m_input.expired(); ++i) {
        if (av_read_frame(&m_input.context(), packet.get()) < 0)
            return nullptr;
        isKey = packet->stream_index == m_stream.index && (packet->flags & AV_PKT_FLAG_KEY) != 0;
        if (!isKey)
            av_packet_unref(packet.get());
    }
    m_decoder->skip_frame = AVDISCARD_DEFAULT;
    bool isWhole = isKey && avcodec_send_packet(m_decoder.get(), packet.get()) >= 0
        && avcodec_send_packet(m_decoder.get(), nullptr) >= 0
        && avcodec_receive_frame(m_decoder.get(), frame.get()) >= 0 && (frame->flags & AV_FRAME_FLAG_CORRUPT) == 0
        && frame->decode_error_flags == 0;
    return isWhole ? std::move(frame) : nullptr;
}

Result<FrameHandle> FrameGrabber::frameAt(std::int64_t fromStart)
{
    MV_TRY(time, inMovie(fromStart));
    std::int64_t target = inStreamTime(time);
    Candidate shown;
    for (std::int64_t step : StepsBack) {
        std::int64_t from = time - std::min(step, std::max<std::int64_t>(time - origin(), 0));
        bool atStart = from <= origin();
        if (atStart)
            rewindToStart();
        else
            rewindTo(inStreamTime(from));
        shown = decodeUpTo(target);
        bool early = shown.frame && (shown.time == AV_NOPTS_VALUE || shown.time <= target);
        if (early || atStart || m_input.expired())
            break;
    }
    if (!shown.frame)
        return Error { Error::Kind::Format, "no frame can be decoded" };
    return std::move(shown.frame);
}

std::int64_t FrameGrabber::inStreamTime(std::int64_t time) const
{
    return av_rescale_q_rnd(time, AV_TIME_BASE_Q, m_stream.time_base, AV_ROUND_DOWN);
}

Result<FrameHandle> FrameGrabber::firstFrame()
{
    rewindToStart();
    Candidate first = decodeUpTo(std::numeric_limits<std::int64_t>::min());
    if (!first.frame)
        return Error { Error::Kind::Format, "no frame can be decoded" };
    return std::move(first.frame);
}

void FrameGrabber::skipUnneeded(const AVPacket& packet, std::int64_t target)
{
    bool endsBefore = packet.pts != AV_NOPTS_VALUE && packet.duration > 0 && packet.pts <= target - packet.duration;
    m_decoder->skip_frame = endsBefore ? AVDISCARD_NONREF : AVDISCARD_DEFAULT;
}

FrameGrabber::Candidate FrameGrabber::decodeUpTo(std::int64_t target)
{
    Candidate shown;
    PacketHandle packet = makePacket();
    bool done = !packet;
    while (!done && !m_input.expired() && av_read_frame(&m_input.context(), packet.get()) >= 0) {
        if (packet->stream_index == m_stream.index) {
            if (target != std::numeric_limits<std::int64_t>::min())
                skipUnneeded(*packet, target);
            // A packet that cannot be decoded is passed over, as a player does.
            if (avcodec_send_packet(m_decoder.get(), packet.get()) >= 0)
                done = takeFrames(target, shown);
        }
        av_packet_unref(packet.get());
    }
    if (!done && !m_input.expired() && avcodec_send_packet(m_decoder.get(), nullptr) >= 0)
        takeFrames(target, shown);
    return shown;
}

/// Takes what the decoder has ready; true once `shown` is the frame shown at `target`.
bool FrameGrabber::takeFrames(std::int64_t target, Candidate& shown)
{
    FrameHandle frame = makeFrame();
    while (frame && avcodec_receive_frame(m_decoder.get(), frame.get()) >= 0) {
        std::int64_t time = frame->pts != AV_NOPTS_VALUE ? frame->pts : frame->best_effort_timestamp;
        bool timed = time != AV_NOPTS_VALUE;
        if (shown.frame && timed && time > target)
            return true;
        std::int64_t duration = durationOf(*frame);
        shown = { std::move(frame), time };
        if (timed && (time > target || (duration > 0 && time > target - duration)))
            return true;
        frame = makeFrame();
    }
    return false;
}

} // namespace mv
