#include "ffmpeg/audio/AudioInput.h"

#include "Base/Core/WorkSign.h"
#include "ffmpeg/FfmpegError.h"
#include "ffmpeg/audio/HiddenMpegStream.h"

#include <array>

namespace mv {

namespace {

Error withStatus(Error error, OSStatus status)
{
    error.code = status;
    return error;
}

Error audioError(int code, const char* what, OSStatus status) { return withStatus(ffmpegError(code, what), status); }

// What a container that FFmpeg refuses is called: none of those known here, unless the disk failed.
OSStatus statusOfOpening(Error::Kind kind)
{
    return kind == Error::Kind::Format ? kAudioFileUnsupportedFileTypeError : statusOfKind(kind);
}

// A job over a long file takes as long as it takes, so there is no deadline.
constexpr MediaInput::Settings NoDeadline { .deadline = std::nullopt };

// What is nothing known may still be an MP3 with something in front that players step over.
Result<std::unique_ptr<MediaInput>> openMedia(const SharedSource& file)
{
    auto input = MediaInput::open(file, NoDeadline);
    if (input || statusOfOpening(input.error().kind) != kAudioFileUnsupportedFileTypeError)
        return input;
    auto start = findHiddenMpegStream(*file);
    if (!start)
        return input;
    MediaInput::Settings settings = NoDeadline;
    settings.start = *start;
    settings.container = "mp3";
    return MediaInput::open(file, settings);
}

} // namespace

bool isSampled(AVCodecID id) { return id >= AV_CODEC_ID_FIRST_AUDIO && id < AV_CODEC_ID_ADPCM_IMA_QT; }

Result<AudioInput> AudioInput::open(const SharedSource& file)
{
    auto input = openMedia(file);
    if (!input)
        return withStatus(input.error(), statusOfOpening(input.error().kind));
    AudioInput audio;
    audio.m_input = std::move(*input);
    MV_TRY_VOID(audio.chooseStream());
    MV_TRY_VOID(audio.learnParameters());
    MV_TRY_VOID(audio.openDecoder());
    return audio;
}

Result<void> AudioInput::chooseStream()
{
    AVFormatContext& context = m_input->context();
    // Program streams, FLV and DV show their streams only while they are read.
    if (context.ctx_flags & AVFMTCTX_NOHEADER)
        if (auto found = m_input->findStreamInfo(); !found)
            return withStatus(found.error(), statusOfKind(found.error().kind));
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        AVStream* stream = context.streams[i];
        if (!m_stream && stream->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            m_stream = stream;
        else
            stream->discard = AVDISCARD_ALL;
    }
    if (!m_stream)
        return audioError(AVERROR_STREAM_NOT_FOUND, "no audio", kAudioFileUnsupportedFileTypeError);
    return {};
}

Result<void> AudioInput::learnParameters()
{
    const AVCodecParameters& parameters = *m_stream->codecpar;
    bool complete
        = isSampled(parameters.codec_id) && parameters.sample_rate > 0 && parameters.ch_layout.nb_channels > 0;
    if (!complete)
        if (auto found = m_input->findStreamInfo(); !found)
            return withStatus(found.error(), statusOfKind(found.error().kind));
    int rate = parameters.sample_rate;
    int channels = parameters.ch_layout.nb_channels;
    if (rate <= 0 || rate > MaxSampleRate || channels <= 0 || channels > MaxChannels)
        return audioError(AVERROR_INVALIDDATA, "no sound parameters", kAudioFileInvalidFileError);
    m_parameters.reset(avcodec_parameters_alloc());
    if (!m_parameters || avcodec_parameters_copy(m_parameters.get(), &parameters) < 0)
        return audioError(AVERROR(ENOMEM), "cannot decode", memFullErr);
    return {};
}

Result<void> AudioInput::openDecoder()
{
    const AVCodec* decoder = avcodec_find_decoder(m_parameters->codec_id);
    if (!decoder)
        return audioError(AVERROR_DECODER_NOT_FOUND, "cannot decode", kAudioFileUnsupportedDataFormatError);
    m_codec.reset(avcodec_alloc_context3(decoder));
    m_packed = makePacket();
    if (!m_codec || !m_packed)
        return audioError(AVERROR(ENOMEM), "cannot decode", memFullErr);
    int status = avcodec_parameters_to_context(m_codec.get(), m_parameters.get());
    m_codec->pkt_timebase = m_stream->time_base;
    m_codec->thread_count = 1;
    // Start and end are trimmed by us: the library takes away too much at the end of Ogg streams.
    m_codec->flags2 |= AV_CODEC_FLAG2_SKIP_MANUAL;
    if (status >= 0)
        status = avcodec_open2(m_codec.get(), decoder, nullptr);
    if (status < 0)
        return audioError(status, "cannot decode", kAudioFileUnsupportedDataFormatError);
    return {};
}

bool AudioInput::isContainer(std::string_view name) const { return m_input->context().iformat->name == name; }

int amrFrameSize(AVCodecID id, std::uint8_t head)
{
    // By frame type, with the byte that tells it; types without a size here are empty or reserved.
    static constexpr std::array<int, 16> Narrow { 13, 14, 16, 18, 20, 21, 27, 32, 6, 0, 0, 0, 0, 0, 0, 1 };
    static constexpr std::array<int, 16> Wide { 18, 24, 33, 37, 41, 47, 51, 59, 61, 6, 0, 0, 0, 0, 1, 1 };
    std::size_t type = head >> 3 & 0xF;
    return id == AV_CODEC_ID_AMR_NB ? Narrow[type] : Wide[type];
}

Result<bool> AudioInput::read(AVPacket& packet)
{
    AVCodecID id = m_codec->codec_id;
    if (id != AV_CODEC_ID_AMR_NB && id != AV_CODEC_ID_AMR_WB)
        return readWhole(packet);
    if (m_packed->size == 0) {
        MV_TRY(more, readWhole(*m_packed));
        if (!more || m_packed->size == 0)
            return more;
    }
    av_packet_unref(&packet);
    if (av_packet_ref(&packet, m_packed.get()) < 0)
        return audioError(AVERROR(ENOMEM), "cannot read", memFullErr);
    int size = amrFrameSize(id, m_packed->data[0]);
    if (size > 0 && size < m_packed->size)
        packet.size = size;
    m_packed->data += packet.size;
    m_packed->size -= packet.size;
    av_packet_free_side_data(m_packed.get()); // what is skipped, is skipped once
    return true;
}

Result<bool> AudioInput::readWhole(AVPacket& packet)
{
    while (true) {
        av_packet_unref(&packet);
        showThatWorkGoesOn(); // a length is counted before anything is made
        int status = av_read_frame(&m_input->context(), &packet);
        if (status == AVERROR(EIO))
            return audioError(status, "cannot read", ioErr);
        if (status < 0)
            return false; // the end, or a file so damaged that nothing follows
        bool whole = !(packet.flags & AV_PKT_FLAG_CORRUPT) || isSampled(m_codec->codec_id);
        if (packet.stream_index == m_stream->index && whole)
            return true;
    }
}

} // namespace mv
