#include "ffmpeg/MediaInput.h"

#include "ffmpeg/FfmpegError.h"

#include <algorithm>
#include <cstring>
#include <utility>
#include <vector>

namespace mv {

namespace {

/// FFmpeg's names of the containers that are opened. A format that can name other files (playlists, image
/// sequences, scripts) must never stand here.
constexpr const char* Formats = "mov,mp4,m4a,3gp,3g2,mj2,matroska,webm,avi,mpeg,mpegts,mpegvideo,flv,asf,ogg,flac,wav,"
                                "aiff,au,mp3,aac,ac3,eac3,amr,caf,dv";
/// The format list already keeps other files shut; this and denyOpening are the second and third lock.
constexpr const char* Protocols = "none";
constexpr int IoBufferSize = 32768;

int denyOpening(AVFormatContext*, AVIOContext**, const char*, int, AVDictionary**) { return AVERROR(EACCES); }

std::int64_t videoStreamCount(const AVFormatContext& context)
{
    return std::count_if(context.streams, context.streams + context.nb_streams,
        [](const AVStream* stream) { return stream->codecpar->codec_type == AVMEDIA_TYPE_VIDEO; });
}

bool isAllowed(const AVInputFormat& format)
{
    std::string_view name = format.name;
    std::string_view first = name.substr(0, name.find(','));
    std::string_view rest = Formats;
    while (!rest.empty()) {
        std::string_view allowed = rest.substr(0, rest.find(','));
        if (allowed == first)
            return true;
        rest.remove_prefix(std::min(rest.size(), allowed.size() + 1));
    }
    return false;
}

} // namespace

int MediaInput::readPacket(void* self, std::uint8_t* target, int size)
{
    auto& input = *static_cast<MediaInput*>(self);
    if (input.expired())
        return AVERROR_EXIT;
    auto got = input.m_file->readAt(
        input.m_start + static_cast<std::uint64_t>(input.m_position), { target, static_cast<std::size_t>(size) });
    if (!got)
        return AVERROR(EIO);
    if (*got == 0)
        return AVERROR_EOF;
    input.m_position += static_cast<std::int64_t>(*got);
    return static_cast<int>(*got);
}

std::int64_t MediaInput::seek(void* self, std::int64_t offset, int whence)
{
    auto& input = *static_cast<MediaInput*>(self);
    auto size = static_cast<std::int64_t>(input.m_file->size() - input.m_start);
    if (whence & AVSEEK_SIZE)
        return size;
    std::int64_t base = 0;
    if ((whence & ~AVSEEK_FORCE) == SEEK_CUR)
        base = input.m_position;
    else if ((whence & ~AVSEEK_FORCE) == SEEK_END)
        base = size;
    std::int64_t target = 0;
    if (__builtin_add_overflow(base, offset, &target) || target < 0)
        return AVERROR(EINVAL);
    input.m_position = target;
    return target;
}

int MediaInput::interrupted(void* self) { return static_cast<MediaInput*>(self)->expired() ? 1 : 0; }

bool MediaInput::expired() const { return m_deadline && std::chrono::steady_clock::now() >= *m_deadline; }

bool MediaInput::endsBeforeSamplesOf(const AVStream& stream) const
{
    if (!isIsoMedia())
        return false;
    auto* entries = const_cast<AVStream*>(&stream); // they are asked for so, and not changed
    auto size = static_cast<std::int64_t>(m_file->size());
    for (int i = 0; i < avformat_index_get_entries_count(entries); ++i) {
        const AVIndexEntry* sample = avformat_index_get_entry(entries, i);
        if (sample->pos + sample->size > size)
            return true;
    }
    return false;
}

bool MediaInput::isIsoMedia() const { return std::strstr(m_context->iformat->name, "mov") != nullptr; }

bool MediaInput::makeIoContext()
{
    auto* buffer = static_cast<unsigned char*>(av_malloc(IoBufferSize));
    if (!buffer)
        return false;
    m_io.reset(avio_alloc_context(buffer, IoBufferSize, 0, this, readPacket, nullptr, seek));
    if (!m_io)
        av_free(buffer);
    return m_io != nullptr;
}

Result<std::unique_ptr<MediaInput>> MediaInput::open(SharedSource file, const Settings& settings)
{
    std::unique_ptr<MediaInput> input(new MediaInput(std::move(file)));
    input->m_start = std::min(settings.start, input->m_file->size());
    if (settings.deadline)
        input->m_deadline = std::chrono::steady_clock::now() + *settings.deadline;
    AVFormatContext* context = avformat_alloc_context();
    if (!context || !input->makeIoContext()) {
        avformat_free_context(context);
        return ffmpegError(AVERROR(ENOMEM), "cannot open");
    }
    context->pb = input->m_io.get();
    context->interrupt_callback = { interrupted, input.get() };
    context->io_open = denyOpening;
    context->flags |= AVFMT_FLAG_CUSTOM_IO;
    if (settings.generatePts)
        context->flags |= AVFMT_FLAG_GENPTS;
    Options options;
    options.set("format_whitelist", Formats);
    options.set("protocol_whitelist", Protocols);
    options.set("max_streams", MaxStreams);
    options.set("probesize", MaxProbeBytes);
    options.set("analyzeduration", MaxAnalyzeDuration);
    // No name is given: the content alone decides. A failed call frees the context.
    const AVInputFormat* container = settings.container ? av_find_input_format(settings.container) : nullptr;
    int status = avformat_open_input(&context, nullptr, container, options.address());
    if (status < 0)
        return ffmpegError(input->expired() ? AVERROR_EXIT : status, "cannot open");
    input->m_context.reset(context);
    if (!container && context->probe_score < settings.lowestScore)
        return ffmpegError(AVERROR_INVALIDDATA, "cannot open");
    return input;
}

bool MediaInput::recognises(SharedSource file)
{
    MediaInput input(std::move(file));
    input.m_deadline = std::chrono::steady_clock::now() + DefaultDeadline;
    const AVInputFormat* format = nullptr;
    if (!input.makeIoContext())
        return false;
    int score = av_probe_input_buffer2(input.m_io.get(), &format, nullptr, nullptr, 0, MaxProbeBytes);
    return score >= MinMovieScore && format && isAllowed(*format);
}

Result<void> MediaInput::findStreamInfo()
{
    // FFmpeg dies of a second time where streams came to light in the first.
    if (std::exchange(m_askedForStreamInfo, true))
        return {};
    std::vector<Options> perStream(m_context->nb_streams);
    std::vector<AVDictionary*> dictionaries;
    std::int64_t share = MaxAnalyzedPixels / std::max<std::int64_t>(1, videoStreamCount(*m_context));
    for (Options& options : perStream) {
        options.set("max_pixels", share);
        options.set("threads", 1);
        dictionaries.push_back(std::exchange(*options.address(), nullptr));
    }
    // The call replaces the entries by what it did not use; the owners take them back.
    int status = avformat_find_stream_info(m_context.get(), dictionaries.data());
    for (std::size_t i = 0; i < perStream.size(); ++i)
        *perStream[i].address() = dictionaries[i];
    if (expired())
        return ffmpegError(AVERROR_EXIT, "cannot read");
    if (status < 0)
        return ffmpegError(status, "cannot read");
    return {};
}

} // namespace mv
