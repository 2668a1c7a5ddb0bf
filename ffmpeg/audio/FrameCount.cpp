#include "ffmpeg/audio/FrameCount.h"

#include "audio/AudioStatus.h"
#include "audio/StreamLength.h"
#include "ffmpeg/audio/PacketFrames.h"

#include <algorithm>
#include <cstdio>

namespace mv {

namespace {

// Decodes one packet; false for one that gives nothing.
bool decode(AVCodecContext& codec, const AVPacket& packet, AVFrame& frame)
{
    av_frame_unref(&frame);
    return avcodec_send_packet(&codec, &packet) >= 0 && avcodec_receive_frame(&codec, &frame) >= 0;
}

// Adds up what the packets say of themselves. Nothing when that is not what decoding gives.
Result<std::optional<std::int64_t>> countPackets(AudioInput& input)
{
    PacketHandle packet = makePacket();
    FrameHandle frame = makeFrame();
    if (!packet || !frame)
        return Error { Error::Kind::Limit, "no memory", memFullErr };
    bool headKnown = input.codec().codec_id != AV_CODEC_ID_AAC;
    GapTrim trim;
    std::int64_t total = 0;
    while (true) {
        MV_TRY(more, input.read(*packet));
        if (!more)
            return std::optional(total);
        std::int64_t frames = packetFrames(input, *packet);
        DeclaredGap gap = DeclaredGap::of(*packet);
        if (!headKnown) {
            // An encoder may begin with packets that give nothing, and the first that gives something may name a
            // gap that the container does not.
            if (!decode(input.codec(), *packet, *frame))
                continue;
            headKnown = true;
            // Band replication doubles the rate in ways that containers describe differently.
            if (frame->nb_samples != frames || frame->sample_rate != input.parameters().sample_rate)
                return std::optional<std::int64_t>();
            gap = DeclaredGap::of(*frame);
        }
        total += trim.keep(frames, gap.skip, gap.discard, packet->flags & AV_PKT_FLAG_DISCARD).count;
    }
}

Result<std::int64_t> countByDecoding(const SharedSource& file, FrameDecoder::End end)
{
    MV_TRY(input, AudioInput::open(file));
    FrameDecoder decoder(input, end);
    std::int64_t total = 0;
    while (true) {
        MV_TRY(run, decoder.next());
        if (!run.frame)
            return total;
        total += av_rescale(run.count, input.parameters().sample_rate, std::max(1, run.frame->sample_rate));
    }
}

// "iTunSMPB": hexadecimal numbers, of which the fourth is the length without gaps. 0 where there is none.
std::int64_t gaplessFrames(const AVFormatContext& container)
{
    const AVDictionaryEntry* entry = av_dict_get(container.metadata, "iTunSMPB", nullptr, 0);
    unsigned long long frames = 0;
    if (!entry || std::sscanf(entry->value, "%*x %*x %*x %16llx", &frames) != 1 || frames > INT64_MAX)
        return 0;
    return static_cast<std::int64_t>(frames);
}

// An edit list ends inside the last packet. A length that differs by more than that is not the edit list's.
std::int64_t withinEdit(AudioInput& input, std::int64_t frames)
{
    constexpr std::int64_t MaxPacket = 8192;
    constexpr std::int64_t MaxPadding = 16384;
    AVStream& stream = input.stream();
    std::int64_t edited = stream.duration == AV_NOPTS_VALUE
        ? 0
        : av_rescale_q(stream.duration, stream.time_base, { 1, input.parameters().sample_rate });
    if (edited > 0 && edited < frames && frames - edited <= MaxPacket)
        frames = edited;
    std::int64_t gapless = gaplessFrames(input.container());
    if (gapless > 0 && gapless < frames && frames - gapless <= MaxPadding)
        frames = gapless;
    return frames;
}

Error noSound(const char* why) { return { Error::Kind::Format, why, kAudioFileInvalidFileError }; }

/// Whether there should be sound. A recording without a single sample is a sound file too, but an encoder makes packets
/// of whatever it is given, so a file without any was cut.
bool announcesSound(AudioInput& input)
{
    const AVStream& stream = input.stream();
    bool saysSo = stream.nb_frames > 0 || input.container().duration > 0
        || (stream.duration != AV_NOPTS_VALUE && stream.duration > 0);
    return saysSo || !isSampled(input.codec().codec_id);
}

Result<FrameCount> countOgg(const SharedSource& file)
{
    auto length = measureOgg(*file);
    if (!length) {
        MV_TRY(trimmed, countByDecoding(file, FrameDecoder::End::Trimmed));
        if (trimmed == 0)
            return noSound("nothing of the sound is there");
        return FrameCount { trimmed, FrameDecoder::End::Trimmed };
    }
    // The end is where the last granule position says. The decoding library takes off up to a block more.
    if (isWholeOggStream(*file))
        return FrameCount { static_cast<std::int64_t>(length->frames), FrameDecoder::End::Whole };
    MV_TRY(decoded, countByDecoding(file, FrameDecoder::End::Whole));
    return FrameCount { std::min(decoded, static_cast<std::int64_t>(length->frames)), FrameDecoder::End::Whole };
}

bool flacTotalHolds(const ByteSource& file, AudioInput& input)
{
    auto atEnd = flacFramesByTail(file);
    return atEnd && input.stream().duration != AV_NOPTS_VALUE
        && static_cast<std::int64_t>(*atEnd) == input.stream().duration;
}

} // namespace

Result<FrameCount> countFrames(const SharedSource& file)
{
    MV_TRY(input, AudioInput::open(file));
    if (input.isContainer("ogg"))
        return countOgg(file);
    if (input.isContainer("flac") && flacTotalHolds(input.file(), input))
        return FrameCount { input.stream().duration };
    if (input.endsBeforeLastSample())
        return noSound("the file ends before its last sample");
    std::optional<std::int64_t> frames;
    if (AVCodecID id = input.codec().codec_id; isOneFrameAPacket(id) || isSampled(id)) {
        MV_TRY(told, countPackets(input));
        frames = told;
    }
    if (!frames) {
        MV_TRY(counted, countByDecoding(file, FrameDecoder::End::Trimmed));
        frames = counted;
    }
    if (*frames == 0 && announcesSound(input))
        return noSound("nothing of the sound is there");
    return FrameCount { input.isIsoMedia() ? withinEdit(input, *frames) : *frames };
}

} // namespace mv
