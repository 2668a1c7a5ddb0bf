#include "ffmpeg/audio/FileDataFormat.h"

#include "ffmpeg/audio/AudioInput.h"

#include <algorithm>
#include <array>

namespace mv {

namespace {

struct FormatCode {
    AVCodecID codec;
    std::uint32_t id;
};

constexpr std::array FormatCodes {
    FormatCode { AV_CODEC_ID_MP3, kAudioFormatMPEGLayer3 },
    FormatCode { AV_CODEC_ID_MP2, fourCC(".mp2") },
    FormatCode { AV_CODEC_ID_MP1, fourCC(".mp1") },
    FormatCode { AV_CODEC_ID_AAC, kAudioFormatMPEG4AAC },
    FormatCode { AV_CODEC_ID_ALAC, kAudioFormatAppleLossless },
    FormatCode { AV_CODEC_ID_FLAC, kAudioFormatFLAC },
    FormatCode { AV_CODEC_ID_AC3, fourCC("ac-3") },
    FormatCode { AV_CODEC_ID_EAC3, fourCC("ec-3") },
    FormatCode { AV_CODEC_ID_AMR_NB, fourCC("samr") },
    FormatCode { AV_CODEC_ID_AMR_WB, fourCC("sawb") },
    FormatCode { AV_CODEC_ID_OPUS, fourCC("opus") },
    FormatCode { AV_CODEC_ID_VORBIS, fourCC("vorb") },
    FormatCode { AV_CODEC_ID_PCM_ALAW, fourCC("alaw") },
    FormatCode { AV_CODEC_ID_PCM_MULAW, fourCC("ulaw") },
    FormatCode { AV_CODEC_ID_ADPCM_IMA_QT, fourCC("ima4") },
};

std::uint32_t formatCode(AVCodecID codec, std::uint32_t tag)
{
    auto row
        = std::find_if(FormatCodes.begin(), FormatCodes.end(), [&](FormatCode code) { return code.codec == codec; });
    if (row != FormatCodes.end())
        return row->id;
    constexpr std::uint32_t WaveTag = 0x6D730000; // 'ms' and the tag of WAVE and AVI files
    if (tag <= 0xFFFF)
        return WaveTag | tag;
    return __builtin_bswap32(tag); // the container's own code, which FFmpeg keeps least significant byte first
}

bool isPlainPcm(AVCodecID id) { return isSampled(id) && id != AV_CODEC_ID_PCM_ALAW && id != AV_CODEC_ID_PCM_MULAW; }

bool isFloat(AVCodecID id)
{
    return id == AV_CODEC_ID_PCM_F32LE || id == AV_CODEC_ID_PCM_F32BE || id == AV_CODEC_ID_PCM_F64LE
        || id == AV_CODEC_ID_PCM_F64BE;
}

bool isBigEndian(AVCodecID id)
{
    switch (id) {
    case AV_CODEC_ID_PCM_S16BE:
    case AV_CODEC_ID_PCM_S24BE:
    case AV_CODEC_ID_PCM_S32BE:
    case AV_CODEC_ID_PCM_F32BE:
    case AV_CODEC_ID_PCM_F64BE:
        return true;
    default:
        return false;
    }
}

bool isUnsigned(AVCodecID id) { return id == AV_CODEC_ID_PCM_U8; }

std::uint32_t wholeBytes(int bits) { return static_cast<std::uint32_t>(std::clamp((bits + 7) / 8 * 8, 8, 32)); }

AudioStreamBasicDescription plainFormat(const AVCodecContext& codec, double rate, std::uint32_t channels)
{
    int bits = codec.bits_per_coded_sample ? codec.bits_per_coded_sample : av_get_bits_per_sample(codec.codec_id);
    std::uint32_t flags = isFloat(codec.codec_id) ? kAudioFormatFlagIsFloat
        : isUnsigned(codec.codec_id)              ? 0
                                                  : kAudioFormatFlagIsSignedInteger;
    if (isBigEndian(codec.codec_id))
        flags |= kAudioFormatFlagIsBigEndian;
    return linearPcm(rate, channels, wholeBytes(bits), flags);
}

std::uint32_t losslessFlag(int bits)
{
    if (bits > 24)
        return kAppleLosslessFormatFlag_32BitSourceData;
    if (bits > 20)
        return kAppleLosslessFormatFlag_24BitSourceData;
    return bits > 16 ? kAppleLosslessFormatFlag_20BitSourceData : kAppleLosslessFormatFlag_16BitSourceData;
}

} // namespace

AudioStreamBasicDescription fileDataFormat(const AVCodecContext& codec, const AVCodecParameters& parameters)
{
    double rate = parameters.sample_rate;
    auto channels = static_cast<std::uint32_t>(parameters.ch_layout.nb_channels);
    if (isPlainPcm(codec.codec_id))
        return plainFormat(codec, rate, channels);
    AudioStreamBasicDescription format;
    format.mSampleRate = rate;
    format.mFormatID = formatCode(codec.codec_id, parameters.codec_tag);
    format.mFramesPerPacket = static_cast<std::uint32_t>(std::max(0, parameters.frame_size));
    format.mChannelsPerFrame = channels;
    if (codec.codec_id == AV_CODEC_ID_ALAC || codec.codec_id == AV_CODEC_ID_FLAC)
        format.mFormatFlags = losslessFlag(codec.bits_per_raw_sample);
    if (codec.codec_id == AV_CODEC_ID_FLAC)
        format.mBitsPerChannel = wholeBytes(codec.bits_per_raw_sample);
    return format;
}

} // namespace mv
