#include "ffmpeg/movies/PassThrough.h"

#include "Base/Core/Text.h"
#include "ffmpeg/FfmpegError.h"
#include "ffmpeg/FfmpegVersions.h"
#include "ffmpeg/MediaInput.h"
#include "ffmpeg/movies/StreamDescription.h"

#include <algorithm>
#include <array>
#include <cerrno>
#include <optional>
#include <vector>

namespace mv {

namespace {

constexpr int OutputBufferSize = 256 << 10;
// What the muxer's hinting builds; smaller packets cannot be had.
constexpr std::uint32_t HintedPacketSize = 1450;

// The file being written, as the muxer sees it.
class OutputStream {
public:
    explicit OutputStream(OutputFile& file)
        : m_file(file)
    {
        auto* buffer = static_cast<unsigned char*>(av_malloc(OutputBufferSize));
        if (buffer)
            m_io.reset(avio_alloc_context(buffer, OutputBufferSize, 1, this, nullptr, write, seek));
        if (!m_io)
            av_free(buffer);
    }

    AVIOContext* context() { return m_io.get(); }
    /// Why writing failed, where it did.
    const std::optional<Error>& failure() const { return m_failure; }

private:
    static int write(void* self, IoBytes* bytes, int size)
    {
        auto& stream = *static_cast<OutputStream*>(self);
        auto written = stream.m_file.writeAt(
            static_cast<std::uint64_t>(stream.m_position), { bytes, static_cast<std::size_t>(size) });
        if (!written) {
            stream.m_failure = written.error();
            return AVERROR(EIO);
        }
        stream.m_position += size;
        stream.m_size = std::max(stream.m_size, stream.m_position);
        return size;
    }
    static std::int64_t seek(void* self, std::int64_t offset, int whence)
    {
        auto& stream = *static_cast<OutputStream*>(self);
        if (whence & AVSEEK_SIZE)
            return stream.m_size;
        std::int64_t base = whence == SEEK_CUR ? stream.m_position : whence == SEEK_END ? stream.m_size : 0;
        if (offset < -base)
            return AVERROR(EINVAL);
        return stream.m_position = base + offset;
    }

    OutputFile& m_file;
    std::int64_t m_position = 0;
    std::int64_t m_size = 0;
    std::optional<Error> m_failure;
    IoContext m_io;
};

bool isCopied(const AVStream& stream)
{
    AVMediaType type = stream.codecpar->codec_type;
    bool isCover = stream.disposition & AV_DISPOSITION_ATTACHED_PIC;
    return (type == AVMEDIA_TYPE_VIDEO || type == AVMEDIA_TYPE_AUDIO) && !isCover;
}

// Telephone codecs stand in the 3GPP flavour of the container only.
bool isTelephoneCodec(const AVCodecParameters& parameters)
{
    AVCodecID codec = parameters.codec_id;
    return codec == AV_CODEC_ID_AMR_NB || codec == AV_CODEC_ID_AMR_WB || codec == AV_CODEC_ID_H263;
}

// Later versions of the library give PCM a box of its own, which players do not know.
bool isBareSound(const AVCodecParameters& parameters)
{
    return parameters.codec_type == AVMEDIA_TYPE_AUDIO && parameters.codec_id >= AV_CODEC_ID_FIRST_AUDIO
        && parameters.codec_id < AV_CODEC_ID_ADPCM_IMA_QT;
}

// HEVC doubles the file and gains nothing: over RTP it wants parameters that hint tracks do not carry. AAC with a
// header before each frame loses it in the new file, but the library's hinting takes it off once more, and a frame of
// fewer bytes than that is then read far beyond its end.
bool isNeverHinted(const AVCodecParameters& parameters)
{
    bool isFramedAac = parameters.codec_id == AV_CODEC_ID_AAC && parameters.extradata_size == 0;
    return isFramedAac || parameters.codec_id == AV_CODEC_ID_HEVC;
}

class Copier {
public:
    Copier(MediaInput& input, OutputFile& target, const MovieExportSettings& settings)
        : m_input(input)
        , m_stream(target)
        , m_settings(settings)
        , m_length(lengthOf(input.context()))
    {
    }

    Result<void> start();
    Result<void> copy(const MovieBackend::Progress& progress);
    /// Streams of the new file that got a packet.
    std::size_t streamCount() const
    {
        return m_lastDts.size()
            - static_cast<std::size_t>(std::count(m_lastDts.begin(), m_lastDts.end(), AV_NOPTS_VALUE));
    }

private:
    bool contains(bool (*test)(const AVCodecParameters&)) const;
    Result<void> makeOutput(bool hinted);
    Result<void> addStream(const AVStream& from);
    Result<void> writeHeader(bool hinted);
    bool isWanted(const AVPacket& packet) const;
    void beginAtZero(AVPacket& packet) const;
    Result<void> writePacket(AVPacket& packet);
    void giveDuration(AVPacket& packet, std::size_t output) const;
    void keepOrder(AVPacket& packet, std::size_t output);
    double doneAt(const AVPacket& packet) const;
    Result<void> writeStatus(int status) const;

    MediaInput& m_input;
    OutputStream m_stream;
    const MovieExportSettings& m_settings;
    std::int64_t m_length; // microseconds, 0 where nobody knows
    OutputContext m_output;
    std::vector<int> m_outputOf; // by input stream, -1 for what is left out
    std::vector<std::int64_t> m_lastDts; // by output stream
    std::vector<std::int64_t> m_lastStep; // from the packet before the last to the last, 0 while not known
};

// What is not the disk's fault is the muxer's refusal of what it was given.
Result<void> Copier::writeStatus(int status) const
{
    if (m_stream.failure())
        return *m_stream.failure();
    if (status >= 0)
        return {};
    Error error = ffmpegError(status, "cannot export");
    if (error.kind != Error::Kind::Limit)
        error.kind = Error::Kind::Unsupported;
    return error;
}

bool Copier::contains(bool (*test)(const AVCodecParameters&)) const
{
    const AVFormatContext& context = m_input.context();
    return std::any_of(context.streams, context.streams + context.nb_streams,
        [test](const AVStream* stream) { return isCopied(*stream) && test(*stream->codecpar); });
}

Result<void> Copier::addStream(const AVStream& from)
{
    AVStream* to = avformat_new_stream(m_output.get(), nullptr);
    int status = to ? avcodec_parameters_copy(to->codecpar, from.codecpar) : AVERROR(ENOMEM);
    if (status < 0)
        return ffmpegError(status, "cannot copy");
    // The container's own code for the codec; Apple players take HEVC by this one alone.
    to->codecpar->codec_tag = from.codecpar->codec_id == AV_CODEC_ID_HEVC ? MKTAG('h', 'v', 'c', '1') : 0;
    to->time_base = from.time_base;
    to->avg_frame_rate = from.avg_frame_rate;
    // The container's word on the pixels' shape counts; the muxer wants the codec's parameters to agree.
    to->sample_aspect_ratio = to->codecpar->sample_aspect_ratio = from.sample_aspect_ratio;
    to->disposition = from.disposition;
    copySideData(*to, from);
    av_dict_copy(&to->metadata, from.metadata, 0);
    return {};
}

Result<void> Copier::makeOutput(bool hinted)
{
    const char* muxer = contains(isTelephoneCodec) ? "3gp" : "mp4";
    AVFormatContext* made = nullptr;
    int status = avformat_alloc_output_context2(&made, nullptr, muxer, nullptr);
    m_output.reset(made);
    if (status < 0 || !m_stream.context())
        return ffmpegError(status < 0 ? status : AVERROR(ENOMEM), "cannot export");
    avio_seek(m_stream.context(), 0, SEEK_SET); // an attempt before this one may have written
    m_output->pb = m_stream.context();
    m_output->flags |= AVFMT_FLAG_AUTO_BSF | AVFMT_FLAG_BITEXACT;
    // So the library calls mappings of codecs that are settled by now (FLAC).
    m_output->strict_std_compliance = FF_COMPLIANCE_EXPERIMENTAL;
    av_dict_copy(&m_output->metadata, m_input.context().metadata, 0);
    m_outputOf.assign(m_input.context().nb_streams, -1);
    for (unsigned i = 0; i < m_input.context().nb_streams; ++i) {
        AVStream& from = *m_input.context().streams[i];
        if (!isCopied(from)) {
            from.discard = AVDISCARD_ALL;
            continue;
        }
        if (isBareSound(*from.codecpar))
            return Error { Error::Kind::Unsupported, "no sound without a codec in MPEG-4 files" };
        m_outputOf[i] = static_cast<int>(m_output->nb_streams);
        MV_TRY_VOID(addStream(from));
    }
    if (m_output->nb_streams == 0)
        return Error { Error::Kind::Unsupported, "neither pictures nor sound" };
    m_lastDts.assign(m_output->nb_streams, AV_NOPTS_VALUE);
    m_lastStep.assign(m_output->nb_streams, 0);
    return writeHeader(hinted);
}

Result<void> Copier::writeHeader(bool hinted)
{
    Options options;
    options.set("brand", fourCharacterText(m_settings.brand).c_str());
    if (hinted)
        options.set("movflags", "rtphint");
    return writeStatus(avformat_write_header(m_output.get(), options.address()));
}

Result<void> Copier::start()
{
    bool hinted = m_settings.hinted && m_settings.packetSize >= HintedPacketSize && !contains(isNeverHinted);
    auto started = makeOutput(hinted);
    // Some codecs can be held but not hinted.
    if (!started && hinted && started.error().kind == Error::Kind::Unsupported)
        return makeOutput(false);
    return started;
}

double Copier::doneAt(const AVPacket& packet) const
{
    if (packet.dts == AV_NOPTS_VALUE || m_length <= 0)
        return 0;
    AVRational timeBase = m_input.context().streams[packet.stream_index]->time_base;
    return static_cast<double>(packet.dts) * av_q2d(timeBase) * AV_TIME_BASE / static_cast<double>(m_length);
}

/// Streams that come to light only while the file is read have no place in the output, whose header is written.
bool Copier::isWanted(const AVPacket& packet) const
{
    auto from = static_cast<std::size_t>(packet.stream_index);
    return from < m_outputOf.size() && m_outputOf[from] >= 0;
}

/// Broadcast streams and the like count from anywhere, and their movie begins with the first stream. ISO media have a
/// timeline of their own.
void Copier::beginAtZero(AVPacket& packet) const
{
    const AVFormatContext& context = m_input.context();
    if (m_input.isIsoMedia() || context.start_time == AV_NOPTS_VALUE || context.start_time <= 0)
        return;
    AVRational timeBase = context.streams[packet.stream_index]->time_base;
    std::int64_t start = av_rescale_q(context.start_time, AV_TIME_BASE_Q, timeBase);
    if (packet.pts != AV_NOPTS_VALUE)
        packet.pts -= start;
    if (packet.dts != AV_NOPTS_VALUE)
        packet.dts -= start;
}

// Packets of fragments, and the last one of a track that begins late, come without their duration. That of the last
// packet is where the track ends: without it the edit list would leave the packet out.
void Copier::giveDuration(AVPacket& packet, std::size_t output) const
{
    if (packet.duration > 0)
        return;
    const AVStream& stream = *m_output->streams[output];
    int frames = av_get_audio_frame_duration2(stream.codecpar, packet.size);
    if (m_lastStep[output] > 0)
        packet.duration = m_lastStep[output];
    else if (frames > 0 && stream.codecpar->sample_rate > 0)
        packet.duration = av_rescale_q(frames, { 1, stream.codecpar->sample_rate }, stream.time_base);
}

// Sloppy files repeat a decoding time, or show a frame before they decode it; a container needs both in order.
void Copier::keepOrder(AVPacket& packet, std::size_t output)
{
    if (packet.dts == AV_NOPTS_VALUE)
        return;
    std::int64_t& last = m_lastDts[output];
    std::int64_t next = last == AV_NOPTS_VALUE ? packet.dts : last + 1;
    if (packet.pts != AV_NOPTS_VALUE && packet.pts < packet.dts) {
        std::array<std::int64_t, 3> guesses { packet.pts, packet.dts, next };
        std::sort(guesses.begin(), guesses.end());
        packet.pts = packet.dts = guesses[1];
    }
    packet.dts = std::max(packet.dts, next);
    if (packet.pts != AV_NOPTS_VALUE)
        packet.pts = std::max(packet.pts, packet.dts);
    if (last != AV_NOPTS_VALUE)
        m_lastStep[output] = packet.dts - last;
    last = packet.dts;
}

Result<void> Copier::writePacket(AVPacket& packet)
{
    auto from = static_cast<std::size_t>(packet.stream_index);
    auto to = static_cast<std::size_t>(m_outputOf[from]);
    av_packet_rescale_ts(&packet, m_input.context().streams[from]->time_base, m_output->streams[to]->time_base);
    packet.stream_index = static_cast<int>(to);
    packet.pos = -1;
    keepOrder(packet, to);
    giveDuration(packet, to);
    return writeStatus(av_interleaved_write_frame(m_output.get(), &packet));
}

Result<void> Copier::copy(const MovieBackend::Progress& progress)
{
    PacketHandle packet = makePacket();
    if (!packet)
        return ffmpegError(AVERROR(ENOMEM), "cannot export");
    int status = 0;
    while ((status = av_read_frame(&m_input.context(), packet.get())) >= 0) {
        if (!isWanted(*packet)) {
            av_packet_unref(packet.get());
            continue;
        }
        beginAtZero(*packet);
        if (!progress(doneAt(*packet)))
            return Error { Error::Kind::Cancelled, "cancelled" };
        MV_TRY_VOID(writePacket(*packet));
    }
    if (status != AVERROR_EOF)
        return ffmpegError(status, "cannot read the movie");
    return writeStatus(av_write_trailer(m_output.get()));
}

// The header of ISO media tells everything but the size of some old codecs' pictures, and of VP8 and VP9 what their
// own configuration box is made of: without it the box would be empty, and the file no longer open.
bool needsStreamInfo(const MediaInput& input)
{
    if (!input.isIsoMedia())
        return true;
    const AVFormatContext& context = input.context();
    return std::any_of(context.streams, context.streams + context.nb_streams, [](const AVStream* stream) {
        AVCodecID codec = stream->codecpar->codec_id;
        bool isSilentOnFormat = codec == AV_CODEC_ID_VP8 || codec == AV_CODEC_ID_VP9;
        return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO
            && (stream->codecpar->width == 0 || (isSilentOnFormat && stream->codecpar->format == AV_PIX_FMT_NONE));
    });
}

// Without this the copy of a movie that was cut would end early and look whole.
Result<void> refuseCutMovie(const MediaInput& input)
{
    const AVFormatContext& context = input.context();
    bool isCut = std::any_of(context.streams, context.streams + context.nb_streams,
        [&](const AVStream* stream) { return isCopied(*stream) && input.endsBeforeSamplesOf(*stream); });
    if (isCut)
        return Error { Error::Kind::Format, "the movie ends before its last sample" };
    return {};
}

// What was written must open again with every stream that is not empty, of which there is one at least.
Result<void> verify(const OutputFile& made, std::size_t streams)
{
    if (streams == 0)
        return Error { Error::Kind::Format, "the movie has not a single sample" };
    MV_TRY(written, made.written());
    MV_TRY(input, MediaInput::open(std::move(written), {}));
    if (input->context().nb_streams < streams)
        return Error { Error::Kind::Unsupported, "the export lacks a stream" };
    return {};
}

} // namespace

Result<void> passMovieThrough(SharedSource source, OutputFile& target, const MovieExportSettings& settings,
    const MovieBackend::Progress& progress)
{
    MediaInput::Settings guard;
    guard.deadline.reset(); // a long movie takes its time
    guard.generatePts = true;
    guard.lowestScore = MinMovieScore;
    MV_TRY(input, MediaInput::open(std::move(source), guard));
    if (needsStreamInfo(*input))
        MV_TRY_VOID(input->findStreamInfo());
    MV_TRY_VOID(refuseCutMovie(*input));
    Copier copier(*input, target, settings);
    MV_TRY_VOID(copier.start());
    MV_TRY_VOID(copier.copy(progress));
    return verify(target, copier.streamCount());
}

} // namespace mv
