#include "ffmpeg/movies/CodecCodes.h"

#include "Base/Core/ByteReader.h"

#include <algorithm>
#include <array>
#include <string_view>
#include <vector>

namespace mv {

namespace {

struct CodeRow {
    AVCodecID codec;
    FourCC dataFormat;
};

/// What stands in a QuickTime file, or would, for a codec that arrives in another container. The first row of a codec
/// counts; further ones are only understood.
constexpr CodeRow Codes[] = {
    { AV_CODEC_ID_H264, fourCC("avc1") },
    { AV_CODEC_ID_HEVC, fourCC("hvc1") },
    { AV_CODEC_ID_HEVC, fourCC("HEVC") }, // in AVI files; FFmpeg keeps the table with these two to itself
    { AV_CODEC_ID_HEVC, fourCC("H265") },
    { AV_CODEC_ID_AV1, fourCC("av01") },
    { AV_CODEC_ID_VP8, fourCC("vp08") },
    { AV_CODEC_ID_VP9, fourCC("vp09") },
    { AV_CODEC_ID_MPEG4, fourCC("mp4v") },
    { AV_CODEC_ID_H263, fourCC("h263") },
    { AV_CODEC_ID_FLV1, fourCC("FLV1") },
    { AV_CODEC_ID_FLASHSV2, fourCC("FSV2") },
    { AV_CODEC_ID_VP6, fourCC("VP6 ") },
    { AV_CODEC_ID_VP6F, fourCC("VP6F") },
    { AV_CODEC_ID_VP6A, fourCC("VP6A") },
    { AV_CODEC_ID_MPEG1VIDEO, fourCC("mp1v") },
    { AV_CODEC_ID_MPEG2VIDEO, fourCC("mp2v") },
    { AV_CODEC_ID_MJPEG, fourCC("jpeg") },
    { AV_CODEC_ID_MSMPEG4V1, fourCC("MPG4") },
    { AV_CODEC_ID_MSMPEG4V2, fourCC("MP42") },
    { AV_CODEC_ID_MSMPEG4V3, fourCC("MP43") },
    { AV_CODEC_ID_WMV1, fourCC("WMV1") },
    { AV_CODEC_ID_WMV2, fourCC("WMV2") },
    { AV_CODEC_ID_WMV3, fourCC("WMV3") },
    { AV_CODEC_ID_VC1, fourCC("vc-1") },
    { AV_CODEC_ID_THEORA, fourCC("XiTh") },
    { AV_CODEC_ID_PRORES, fourCC("apcn") },
    { AV_CODEC_ID_DVVIDEO, fourCC("dvc ") },
    { AV_CODEC_ID_PNG, fourCC("png ") },
    { AV_CODEC_ID_RAWVIDEO, fourCC("raw ") },

    { AV_CODEC_ID_AAC, fourCC("mp4a") },
    { AV_CODEC_ID_AAC_LATM, fourCC("mp4a") },
    { AV_CODEC_ID_MP3, fourCC(".mp3") },
    { AV_CODEC_ID_MP2, fourCC(".mp2") },
    { AV_CODEC_ID_MP1, fourCC(".mp1") },
    { AV_CODEC_ID_AC3, fourCC("ac-3") },
    { AV_CODEC_ID_EAC3, fourCC("ec-3") },
    { AV_CODEC_ID_DTS, fourCC("dtsc") },
    { AV_CODEC_ID_ALAC, fourCC("alac") },
    { AV_CODEC_ID_FLAC, fourCC("fLaC") },
    { AV_CODEC_ID_OPUS, fourCC("Opus") },
    { AV_CODEC_ID_VORBIS, fourCC("XiVs") },
    { AV_CODEC_ID_SPEEX, fourCC("XiSp") },
    { AV_CODEC_ID_AMR_NB, fourCC("samr") },
    { AV_CODEC_ID_AMR_WB, fourCC("sawb") },
    { AV_CODEC_ID_WMAV1, fourCC("WMA1") },
    { AV_CODEC_ID_WMAV2, fourCC("WMA2") },
    { AV_CODEC_ID_WMAPRO, fourCC("WMAP") },
    { AV_CODEC_ID_WMALOSSLESS, fourCC("WMAL") },
    { AV_CODEC_ID_NELLYMOSER, fourCC("nmos") },
    { AV_CODEC_ID_ADPCM_IMA_WAV, fourCC("ima4") },
    { AV_CODEC_ID_ADPCM_IMA_QT, fourCC("ima4") },
    { AV_CODEC_ID_TRUEHD, fourCC("mlpa") },
    { AV_CODEC_ID_TTA, fourCC("TTA1") },
    { AV_CODEC_ID_WAVPACK, fourCC("wvpk") },
    { AV_CODEC_ID_PCM_ALAW, fourCC("alaw") },
    { AV_CODEC_ID_PCM_MULAW, fourCC("ulaw") },
    { AV_CODEC_ID_PCM_U8, fourCC("raw ") },
    { AV_CODEC_ID_PCM_S8, fourCC("twos") },
    { AV_CODEC_ID_PCM_S16LE, fourCC("sowt") },
    { AV_CODEC_ID_PCM_S16BE, fourCC("twos") },
    { AV_CODEC_ID_PCM_S24LE, fourCC("in24") },
    { AV_CODEC_ID_PCM_S24BE, fourCC("in24") },
    { AV_CODEC_ID_PCM_S32LE, fourCC("in32") },
    { AV_CODEC_ID_PCM_S32BE, fourCC("in32") },
    { AV_CODEC_ID_PCM_F32LE, fourCC("fl32") },
    { AV_CODEC_ID_PCM_F32BE, fourCC("fl32") },
    { AV_CODEC_ID_PCM_F64LE, fourCC("fl64") },
    { AV_CODEC_ID_PCM_F64BE, fourCC("fl64") },
    { AV_CODEC_ID_PCM_BLURAY, fourCC("lpcm") },
    { AV_CODEC_ID_PCM_DVD, fourCC("lpcm") },

    { AV_CODEC_ID_MOV_TEXT, fourCC("tx3g") },
    { AV_CODEC_ID_SUBRIP, fourCC("text") },
    { AV_CODEC_ID_TEXT, fourCC("text") },
};

/// Encrypted samples: the code hides the codec, and nothing here holds a key.
constexpr FourCC Encrypted[] = { fourCC("encv"), fourCC("enca"), fourCC("drms"), fourCC("drmi") };

/// What stands in front of the number of a wave format where a format has no code of its own.
constexpr FourCC WaveFormatPrefixes[] = { fourCC("ms\0\0"), fourCC("TS\0\0") };

/// Between our codes and FFmpeg's, which have the first character in the low byte; either way.
constexpr std::uint32_t swapped(std::uint32_t code) { return __builtin_bswap32(code); }

bool isPrintable(FourCC code)
{
    for (int shift = 0; shift < 32; shift += 8) {
        unsigned character = code >> shift & 0xFF;
        if (character < 0x20 || character > 0x7E)
            return false;
    }
    return true;
}

bool canBeDecoded(AVCodecID codec) { return avcodec_find_decoder(codec) != nullptr; }

AVCodecID codecInTable(FourCC dataFormat, AVMediaType type)
{
    for (const CodeRow& row : Codes) {
        if (row.dataFormat == dataFormat && avcodec_get_type(row.codec) == type)
            return row.codec;
    }
    return AV_CODEC_ID_NONE;
}

/// FFmpeg's tables of the codes in files of a kind, each a list of its own.
std::vector<std::array<const AVCodecTag*, 2>> ffmpegTables(AVMediaType type)
{
    if (type == AVMEDIA_TYPE_AUDIO)
        return { { avformat_get_mov_audio_tags(), nullptr } };
    return { { avformat_get_mov_video_tags(), nullptr }, { avformat_get_riff_video_tags(), nullptr } };
}

AVCodecID codecInFfmpegsTables(FourCC dataFormat, AVMediaType type)
{
    for (const auto& table : ffmpegTables(type)) {
        AVCodecID codec = av_codec_get_id(table.data(), swapped(dataFormat));
        if (codec != AV_CODEC_ID_NONE)
            return codec;
    }
    return AV_CODEC_ID_NONE;
}

AVCodecID codecOfWaveFormat(FourCC dataFormat)
{
    const AVCodecTag* table[] = { avformat_get_riff_audio_tags(), nullptr };
    for (FourCC prefix : WaveFormatPrefixes) {
        if ((dataFormat & 0xFFFF0000) == prefix)
            return av_codec_get_id(table, dataFormat & 0xFFFF);
    }
    return AV_CODEC_ID_NONE;
}

/// The front of FFmpeg's name of a codec, for one that no table has a code for: "mlp ", "adpc", "meta".
FourCC codeOfName(AVCodecID codec)
{
    FourCC code = 0;
    std::string_view name = avcodec_get_name(codec);
    int letters = 0;
    for (std::size_t i = 0; letters < 4; ++i) {
        char letter = i < name.size() ? name[i] : ' ';
        if (letter == '_' || letter == '.')
            continue;
        code = code << 8 | static_cast<unsigned char>(letter);
        ++letters;
    }
    return code;
}

/// One of the codecs with that name in front; all of them can be decoded.
AVCodecID codecOfName(FourCC dataFormat, AVMediaType type)
{
    for (const AVCodecDescriptor* known = nullptr; (known = avcodec_descriptor_next(known));) {
        if (known->type == type && codeOfName(known->id) == dataFormat && canBeDecoded(known->id))
            return known->id;
    }
    return AV_CODEC_ID_NONE;
}

AVCodecID codecOf(FourCC dataFormat, AVMediaType type)
{
    // FFmpeg's tables know a codec of code 0; here it means that there is no code.
    if (dataFormat == 0 || std::find(std::begin(Encrypted), std::end(Encrypted), dataFormat) != std::end(Encrypted))
        return AV_CODEC_ID_NONE;
    AVCodecID codec = codecInTable(dataFormat, type);
    if (codec == AV_CODEC_ID_NONE)
        codec = codecInFfmpegsTables(dataFormat, type);
    if (codec == AV_CODEC_ID_NONE && type == AVMEDIA_TYPE_AUDIO)
        codec = codecOfWaveFormat(dataFormat);
    return codec == AV_CODEC_ID_NONE ? codecOfName(dataFormat, type) : codec;
}

/// Whether a code may stand for a codec: whoever asks whether it can be decoded gets the codec's answer.
bool mayStandFor(FourCC code, const AVCodecParameters& codec)
{
    return isPrintable(code) && (!canBeDecoded(codec.codec_id) || canBeDecoded(codecOf(code, codec.codec_type)));
}

FourCC ffmpegsCodeOf(const AVCodecParameters& codec)
{
    for (const auto& table : ffmpegTables(codec.codec_type)) {
        FourCC code = swapped(av_codec_get_tag(table.data(), codec.codec_id));
        if (mayStandFor(code, codec))
            return code;
    }
    return 0;
}

} // namespace

FourCC dataFormatOf(const AVCodecParameters& codec, bool isAvi)
{
    FourCC own = swapped(codec.codec_tag);
    bool ownServes = mayStandFor(own, codec);
    if (isAvi && codec.codec_type == AVMEDIA_TYPE_VIDEO && ownServes)
        return own;
    for (const CodeRow& row : Codes) {
        if (row.codec == codec.codec_id)
            return row.dataFormat;
    }
    if (ownServes)
        return own;
    if (!canBeDecoded(codec.codec_id))
        return 0;
    FourCC code = ffmpegsCodeOf(codec);
    return code ? code : codeOfName(codec.codec_id);
}

AVCodecID videoCodecOf(FourCC dataFormat) { return codecOf(dataFormat, AVMEDIA_TYPE_VIDEO); }
AVCodecID audioCodecOf(FourCC dataFormat) { return codecOf(dataFormat, AVMEDIA_TYPE_AUDIO); }

bool isPcm(AVCodecID codec) { return codec >= AV_CODEC_ID_PCM_S16LE && codec < AV_CODEC_ID_ADPCM_IMA_QT; }

} // namespace mv
