#include "ffmpeg/movies/StreamDescription.h"

#include "Base/Core/ByteReader.h"
#include "Base/Core/Text.h"
#include "ffmpeg/FfmpegVersions.h"
#include "ffmpeg/movies/CodecCodes.h"
#include "system/DateText.h"

#include <algorithm>
#include <cstring>
#include <span>
#include <string_view>

namespace mv {

bool isCoverArt(const AVStream& stream) { return stream.disposition & AV_DISPOSITION_ATTACHED_PIC; }

namespace {

bool isPictures(const AVStream& stream)
{
    return stream.codecpar->codec_type == AVMEDIA_TYPE_VIDEO && !isCoverArt(stream);
}

FourCC mediaTypeOf(const AVStream& stream)
{
    switch (stream.codecpar->codec_type) {
    case AVMEDIA_TYPE_VIDEO:
        return isCoverArt(stream) ? 0 : fourCC("vide");
    case AVMEDIA_TYPE_AUDIO:
        return fourCC("soun");
    case AVMEDIA_TYPE_SUBTITLE:
        return fourCC("sbtl");
    default:
        return 0; // attachments and the like are no tracks
    }
}

/// FFmpeg takes the enabled flag of ISO media for "default"; elsewhere that word means something else, and every
/// track is enabled.
bool isEnabled(const AVStream& stream, bool isIso) { return !isIso || stream.disposition & AV_DISPOSITION_DEFAULT; }

std::optional<std::string> titleIn(const AVDictionary* metadata)
{
    const AVDictionaryEntry* entry = av_dict_get(metadata, "title", nullptr, 0);
    if (!entry || !*entry->value)
        return std::nullopt;
    return cleanedUtf8(entry->value);
}

/// Ogg has no place for the movie's own title but its streams' comments. In other containers a stream's title names
/// the track.
std::optional<std::string> fullName(const AVFormatContext& context)
{
    if (auto title = titleIn(context.metadata))
        return title;
    if (std::strcmp(context.iformat->name, "ogg") != 0)
        return std::nullopt;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        if (auto title = titleIn(context.streams[i]->metadata))
            return title;
    }
    return std::nullopt;
}

/// Matroska and others keep the moment at which the movie was made; none keeps that of its last change. (Broadcast WAV
/// has a time of day under the same name, which is no moment.)
std::optional<Date> creationTime(const AVFormatContext& context)
{
    const AVDictionaryEntry* entry = av_dict_get(context.metadata, "creation_time", nullptr, 0);
    std::string_view text = entry ? entry->value : "";
    // Cameras end the line.
    while (text.ends_with('\n') || text.ends_with('\r') || text.ends_with(' '))
        text.remove_suffix(1);
    return dateFromMetadataText(text);
}

PixelSize naturalSize(AVFormatContext& context, AVStream& stream)
{
    PixelSize size { static_cast<float>(stream.codecpar->width), static_cast<float>(stream.codecpar->height) };
    AVRational aspect = av_guess_sample_aspect_ratio(&context, &stream, nullptr);
    if (aspect.num > 0 && aspect.den > 0)
        size.width = static_cast<float>(static_cast<double>(stream.codecpar->width) * av_q2d(aspect));
    if (orientationOf(stream).swapsSides)
        std::swap(size.width, size.height);
    return size;
}

/// The length of a stream without an index or a header: all packets, none of them decoded.
std::int64_t measuredDuration(MediaInput& input, const AVStream& stream)
{
    PacketHandle packet = makePacket();
    std::int64_t total = 0;
    while (packet && !input.expired() && av_read_frame(&input.context(), packet.get()) >= 0) {
        if (packet->stream_index == stream.index && packet->duration > 0)
            total += packet->duration;
        av_packet_unref(packet.get());
    }
    return av_rescale_q(total, stream.time_base, AV_TIME_BASE_Q);
}

std::int64_t longestStream(const AVFormatContext& context)
{
    std::int64_t longest = 0;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        if (stream.duration > 0)
            longest = std::max(longest, av_rescale_q(stream.duration, stream.time_base, AV_TIME_BASE_Q));
    }
    return longest;
}

MovieTime durationOf(MediaInput& input)
{
    const AVFormatContext& context = input.context();
    const AVStream* sound = nullptr;
    bool hasPictures = false;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        hasPictures |= isPictures(*context.streams[i]);
        if (!sound && context.streams[i]->codecpar->codec_type == AVMEDIA_TYPE_AUDIO)
            sound = context.streams[i];
    }
    std::int64_t duration = lengthOf(context);
    // A length guessed from the size and the first frames' bit rate can be far off. Sound is quick to measure.
    bool guessed = duration <= 0 || context.duration_estimation_method == AVFMT_DURATION_FROM_BITRATE;
    if (guessed && sound && !hasPictures) {
        std::int64_t measured = measuredDuration(input, *sound);
        duration = measured > 0 ? measured : duration;
    }
    if (duration <= 0)
        return {};
    return { duration, AV_TIME_BASE };
}

} // namespace

std::int64_t lengthOf(const AVFormatContext& context)
{
    return context.duration > 0 ? context.duration : longestStream(context);
}

AVStream* pictureStream(AVFormatContext& context)
{
    AVStream* first = nullptr;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        AVStream& stream = *context.streams[i];
        if (!isPictures(stream))
            continue;
        if (stream.disposition & AV_DISPOSITION_DEFAULT)
            return &stream;
        if (!first)
            first = &stream;
    }
    return first;
}

Orientation orientationOf(const AVStream& stream)
{
    std::span<const std::uint8_t> data = sideDataOf(stream, AV_PKT_DATA_DISPLAYMATRIX);
    std::array<std::int32_t, 9> matrix {};
    if (data.size() < sizeof matrix)
        return {};
    std::memcpy(matrix.data(), data.data(), sizeof matrix);
    return Orientation::fromMatrix(matrix);
}

MovieDescription describeStreams(MediaInput& input)
{
    AVFormatContext& context = input.context();
    MovieDescription description;
    bool isAvi = std::strcmp(context.iformat->name, "avi") == 0;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        FourCC type = mediaTypeOf(stream);
        if (!type)
            continue;
        description.hasVideo |= type == fourCC("vide");
        description.hasAudio |= type == fourCC("soun");
        description.tracks.push_back(
            { isEnabled(stream, input.isIsoMedia()), { type, { dataFormatOf(*stream.codecpar, isAvi) } } });
    }
    if (AVStream* pictures = pictureStream(context))
        description.naturalSize = naturalSize(context, *pictures);
    description.fullName = fullName(context);
    description.creationTime = creationTime(context);
    description.duration = durationOf(input);
    return description;
}

} // namespace mv
