#include "ffmpeg/movies/MediaStreamsFfmpeg.h"

#include "ffmpeg/FfmpegVersions.h"
#include "ffmpeg/MediaInput.h"
#include "ffmpeg/movies/StreamDescription.h"

#include <algorithm>
#include <cmath>

namespace mv {

namespace {

// A tag's texts and a file's covers; no honest file comes near.
constexpr std::size_t MaxTags = 1024;
constexpr std::size_t MaxCovers = 64;

/// Whether the header has told all that is asked of a stream.
bool isKnown(const AVStream& stream)
{
    const AVCodecParameters& codec = *stream.codecpar;
    if (codec.codec_type == AVMEDIA_TYPE_AUDIO)
        return codec.codec_id != AV_CODEC_ID_NONE && codec.sample_rate > 0 && codec.ch_layout.nb_channels > 0;
    if (codec.codec_type == AVMEDIA_TYPE_VIDEO && !isCoverArt(stream))
        return codec.codec_id != AV_CODEC_ID_NONE && codec.width > 0 && stream.avg_frame_rate.num > 0;
    return true;
}

bool isKnown(const AVFormatContext& context)
{
    bool isMatroska = std::string_view(context.iformat->name).starts_with("matroska");
    return isMatroska && context.nb_streams > 0
        && std::all_of(context.streams, context.streams + context.nb_streams,
            [](const AVStream* stream) { return isKnown(*stream); });
}

std::uint32_t positive(int number) { return static_cast<std::uint32_t>(std::max(0, number)); }

bool isLossless(AVCodecID codec)
{
    const AVCodecDescriptor* descriptor = avcodec_descriptor_get(codec);
    return descriptor && (descriptor->props & AV_CODEC_PROP_LOSSLESS) != 0
        && (descriptor->props & AV_CODEC_PROP_LOSSY) == 0;
}

MediaStreams::Sound soundOf(const AVStream& stream)
{
    const AVCodecParameters& codec = *stream.codecpar;
    MediaStreams::Sound sound;
    if (codec.codec_id != AV_CODEC_ID_NONE)
        sound.codec = avcodec_get_name(codec.codec_id);
    sound.sampleRate = positive(codec.sample_rate);
    sound.channels = positive(codec.ch_layout.nb_channels);
    if (isLossless(codec.codec_id)) {
        int bits = codec.bits_per_raw_sample ? codec.bits_per_raw_sample : codec.bits_per_coded_sample;
        sound.bitsPerSample = positive(bits ? bits : av_get_bits_per_sample(codec.codec_id));
    }
    sound.bitrate = codec.bit_rate > 0 ? static_cast<std::uint64_t>(codec.bit_rate) : 0;
    return sound;
}

MediaStreams::Pictures picturesOf(const AVStream& stream)
{
    const AVCodecParameters& codec = *stream.codecpar;
    MediaStreams::Pictures pictures;
    if (codec.codec_id != AV_CODEC_ID_NONE)
        pictures.codec = avcodec_get_name(codec.codec_id);
    pictures.width = positive(codec.width);
    pictures.height = positive(codec.height);
    AVRational rate = stream.avg_frame_rate.num > 0 ? stream.avg_frame_rate : stream.r_frame_rate;
    pictures.frameRate = rate.num > 0 && rate.den > 0 ? av_q2d(rate) : 0;
    pictures.orientation = orientationOf(stream);
    return pictures;
}

MediaStreams::Cover coverOf(const AVStream& stream, bool withData)
{
    MediaStreams::Cover cover;
    if (const AVDictionaryEntry* title = av_dict_get(stream.metadata, "title", nullptr, 0))
        cover.description = title->value;
    if (withData && stream.attached_pic.data)
        cover.data.assign(stream.attached_pic.data, stream.attached_pic.data + stream.attached_pic.size);
    return cover;
}

void addTags(const AVDictionary* metadata, MediaStreams& streams)
{
    const AVDictionaryEntry* entry = nullptr;
    while ((entry = av_dict_get(metadata, "", entry, AV_DICT_IGNORE_SUFFIX)) && streams.tags.size() < MaxTags) {
        std::pair<std::string, std::string> tag(entry->key, entry->value);
        // The streams of a file often say the same.
        if (std::find(streams.tags.begin(), streams.tags.end(), tag) == streams.tags.end())
            streams.tags.push_back(std::move(tag));
    }
}

} // namespace

Result<MediaStreams> describeMediaStreams(SharedSource file, std::chrono::milliseconds deadline, bool withCovers)
{
    MediaInput::Settings settings;
    settings.deadline = deadline;
    settings.lowestScore = MinMovieScore;
    MV_TRY(input, MediaInput::open(std::move(file), settings));
    AVFormatContext& context = input->context();
    if (!isKnown(context))
        MV_TRY_VOID(input->findStreamInfo());
    MediaStreams streams;
    for (unsigned i = 0; i < context.nb_streams; ++i) {
        const AVStream& stream = *context.streams[i];
        if (stream.codecpar->codec_type == AVMEDIA_TYPE_AUDIO && !streams.sound)
            streams.sound = soundOf(stream);
        if (!isCoverArt(stream))
            continue;
        streams.coverBytes += positive(stream.attached_pic.size);
        if (streams.covers.size() < MaxCovers)
            streams.covers.push_back(coverOf(stream, withCovers));
    }
    if (const AVStream* pictures = pictureStream(context))
        streams.pictures = picturesOf(*pictures);
    auto seconds = secondsOf(describeStreams(*input).duration);
    streams.length = seconds ? std::llround(*seconds * 1'000'000) : 0;
    addTags(context.metadata, streams);
    // Ogg has comments of streams alone.
    bool isOgg = std::string_view(context.iformat->name) == "ogg";
    for (unsigned i = 0; isOgg && i < context.nb_streams; ++i) {
        // FFmpeg says there of what kind a cover is.
        if (!isCoverArt(*context.streams[i]))
            addTags(context.streams[i]->metadata, streams);
    }
    return streams;
}

} // namespace mv
