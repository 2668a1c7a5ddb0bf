#include "facts/reading/IsoCodecs.h"

#include "Base/Core/ByteReader.h"
#include "facts/reading/WaveCodecs.h"

#include <array>

namespace mv {

namespace {

struct CodecOfCode {
    std::uint32_t code;
    std::string_view codec;
};

template <class Table> std::string_view lookUp(const Table& table, std::uint32_t code)
{
    for (const CodecOfCode& row : table) {
        if (row.code == code)
            return row.codec;
    }
    return {};
}

constexpr std::array SoundCodes {
    CodecOfCode { fourCC("alac"), "alac" },
    CodecOfCode { fourCC("fLaC"), "flac" },
    CodecOfCode { fourCC("Opus"), "opus" },
    CodecOfCode { fourCC("samr"), "amr_nb" },
    CodecOfCode { fourCC("sawb"), "amr_wb" },
    CodecOfCode { fourCC("ac-3"), "ac3" },
    CodecOfCode { fourCC("sac3"), "ac3" },
    CodecOfCode { fourCC("ec-3"), "eac3" },
    CodecOfCode { fourCC("dtsc"), "dts" },
    CodecOfCode { fourCC("dtsh"), "dts" },
    CodecOfCode { fourCC("dtsl"), "dts" },
    CodecOfCode { fourCC("dtse"), "dts" },
    CodecOfCode { fourCC(".mp3"), "mp3" },
    CodecOfCode { fourCC(".mp2"), "mp2" },
    CodecOfCode { fourCC("ulaw"), "pcm_mulaw" },
    CodecOfCode { fourCC("alaw"), "pcm_alaw" },
    CodecOfCode { fourCC("ima4"), "adpcm_ima_qt" },
    CodecOfCode { fourCC("QDM2"), "qdm2" },
    CodecOfCode { fourCC("QDMC"), "qdmc" },
    CodecOfCode { fourCC("MAC3"), "mace3" },
    CodecOfCode { fourCC("MAC6"), "mace6" },
    CodecOfCode { fourCC("agsm"), "gsm" },
};

/// MPEG-4's numbers of object types.
constexpr std::array SoundObjects {
    CodecOfCode { 0x40, "aac" },
    CodecOfCode { 0x66, "aac" },
    CodecOfCode { 0x67, "aac" },
    CodecOfCode { 0x68, "aac" },
    CodecOfCode { 0x69, "mp3" },
    CodecOfCode { 0x6B, "mp3" },
    CodecOfCode { 0xA5, "ac3" },
    CodecOfCode { 0xA6, "eac3" },
    CodecOfCode { 0xA9, "dts" },
    CodecOfCode { 0xAD, "opus" },
    CodecOfCode { 0xDD, "vorbis" },
    CodecOfCode { 0xE1, "qcelp" },
};

constexpr std::array PictureCodes {
    CodecOfCode { fourCC("avc1"), "h264" },
    CodecOfCode { fourCC("avc2"), "h264" },
    CodecOfCode { fourCC("avc3"), "h264" },
    CodecOfCode { fourCC("dva1"), "h264" },
    CodecOfCode { fourCC("dvav"), "h264" },
    CodecOfCode { fourCC("hvc1"), "hevc" },
    CodecOfCode { fourCC("hev1"), "hevc" },
    CodecOfCode { fourCC("dvh1"), "hevc" },
    CodecOfCode { fourCC("dvhe"), "hevc" },
    CodecOfCode { fourCC("vp08"), "vp8" },
    CodecOfCode { fourCC("vp09"), "vp9" },
    CodecOfCode { fourCC("av01"), "av1" },
    CodecOfCode { fourCC("s263"), "h263" },
    CodecOfCode { fourCC("h263"), "h263" },
    CodecOfCode { fourCC("jpeg"), "mjpeg" },
    CodecOfCode { fourCC("mjpa"), "mjpeg" },
    CodecOfCode { fourCC("mjpb"), "mjpegb" },
    CodecOfCode { fourCC("apch"), "prores" },
    CodecOfCode { fourCC("apcn"), "prores" },
    CodecOfCode { fourCC("apcs"), "prores" },
    CodecOfCode { fourCC("apco"), "prores" },
    CodecOfCode { fourCC("ap4h"), "prores" },
    CodecOfCode { fourCC("ap4x"), "prores" },
    CodecOfCode { fourCC("SVQ1"), "svq1" },
    CodecOfCode { fourCC("SVQ3"), "svq3" },
    CodecOfCode { fourCC("cvid"), "cinepak" },
    CodecOfCode { fourCC("rle "), "qtrle" },
    CodecOfCode { fourCC("smc "), "smc" },
    CodecOfCode { fourCC("rpza"), "rpza" },
    CodecOfCode { fourCC("png "), "png" },
    CodecOfCode { fourCC("raw "), "rawvideo" },
    CodecOfCode { fourCC("2vuy"), "rawvideo" },
    CodecOfCode { fourCC("yuvs"), "rawvideo" },
    CodecOfCode { fourCC("dvc "), "dvvideo" },
    CodecOfCode { fourCC("dvcp"), "dvvideo" },
    CodecOfCode { fourCC("dvpp"), "dvvideo" },
    CodecOfCode { fourCC("dv5n"), "dvvideo" },
    CodecOfCode { fourCC("dv5p"), "dvvideo" },
    CodecOfCode { fourCC("AVdn"), "dnxhd" },
    CodecOfCode { fourCC("AVdh"), "dnxhd" },
    CodecOfCode { fourCC("mx5p"), "mpeg2video" },
    CodecOfCode { fourCC("hdv1"), "mpeg2video" },
    CodecOfCode { fourCC("hdv2"), "mpeg2video" },
    CodecOfCode { fourCC("hdv3"), "mpeg2video" },
    CodecOfCode { fourCC("m2v1"), "mpeg2video" },
    CodecOfCode { fourCC("mpeg"), "mpeg1video" },
    CodecOfCode { fourCC("XVID"), "mpeg4" },
    CodecOfCode { fourCC("DIVX"), "mpeg4" },
};

constexpr std::array PictureObjects {
    CodecOfCode { 0x20, "mpeg4" },
    CodecOfCode { 0x21, "h264" },
    CodecOfCode { 0x60, "mpeg2video" },
    CodecOfCode { 0x61, "mpeg2video" },
    CodecOfCode { 0x62, "mpeg2video" },
    CodecOfCode { 0x63, "mpeg2video" },
    CodecOfCode { 0x64, "mpeg2video" },
    CodecOfCode { 0x65, "mpeg2video" },
    CodecOfCode { 0x6A, "mpeg1video" },
    CodecOfCode { 0x6C, "mjpeg" },
    CodecOfCode { 0x6D, "png" },
};

std::string_view signedSamples(std::uint32_t bits, bool isBigEndian)
{
    constexpr std::array<std::string_view, 4> Big { "pcm_s8", "pcm_s16be", "pcm_s24be", "pcm_s32be" };
    constexpr std::array<std::string_view, 4> Little { "pcm_s8", "pcm_s16le", "pcm_s24le", "pcm_s32le" };
    if (bits == 0 || bits > 32)
        return {};
    return (isBigEndian ? Big : Little)[(bits - 1) / 8];
}

std::string_view floatSamples(std::uint32_t bits, bool isBigEndian)
{
    if (bits == 64)
        return isBigEndian ? "pcm_f64be" : "pcm_f64le";
    return isBigEndian ? "pcm_f32be" : "pcm_f32le";
}

/// Samples without compression; empty for everything else.
std::string_view sampledCodecOf(const TrackFacts& track, std::uint32_t code)
{
    constexpr std::uint32_t IsFloat = 1;
    constexpr std::uint32_t IsBigEndian = 2;
    std::uint32_t bits = track.soundBits;
    bool isBigEndian = (track.soundFlags & IsBigEndian) != 0;
    switch (code) {
    case fourCC("twos"):
        return signedSamples(bits, true);
    case fourCC("sowt"):
        return signedSamples(bits, false);
    case fourCC("raw "):
    case fourCC("NONE"):
        return bits == 16 ? "pcm_s16be" : "pcm_u8";
    case fourCC("in24"):
        return track.soundIsLittleEndian ? "pcm_s24le" : "pcm_s24be";
    case fourCC("in32"):
        return track.soundIsLittleEndian ? "pcm_s32le" : "pcm_s32be";
    case fourCC("fl32"):
        return floatSamples(32, !track.soundIsLittleEndian);
    case fourCC("fl64"):
        return floatSamples(64, !track.soundIsLittleEndian);
    case fourCC("lpcm"):
        if ((track.soundFlags & IsFloat) != 0)
            return floatSamples(bits, isBigEndian);
        return bits == 8 && track.soundFlags == 0 ? "pcm_u8" : signedSamples(bits, isBigEndian);
    default:
        return {};
    }
}

/// Encryption has a code of its own, which hides what is encrypted.
std::uint32_t formatOf(const TrackFacts& track)
{
    return track.originalFormat != 0 ? track.originalFormat : track.descriptionCodes.front();
}

} // namespace

std::string_view soundCodecOf(const TrackFacts& track)
{
    if (track.descriptionCodes.empty())
        return {};
    std::uint32_t code = formatOf(track);
    if (code == fourCC("mp4a") || code == fourCC("enca")) {
        std::string_view codec = lookUp(SoundObjects, track.objectType);
        return codec.empty() && track.objectType == 0 ? "aac" : codec;
    }
    if (auto codec = sampledCodecOf(track, code); !codec.empty())
        return codec;
    // "ms" and a format tag of WAVE files.
    constexpr std::uint32_t WaveTag = 0x6D730000;
    if ((code & 0xFFFF0000) == WaveTag)
        return codecOfWaveTag(static_cast<std::uint16_t>(code), static_cast<std::uint16_t>(track.soundBits));
    return lookUp(SoundCodes, code);
}

std::string_view pictureCodecOf(const TrackFacts& track)
{
    if (track.descriptionCodes.empty())
        return {};
    std::uint32_t code = formatOf(track);
    if (code == fourCC("mp4v"))
        return track.objectType == 0 ? "mpeg4" : lookUp(PictureObjects, track.objectType);
    return lookUp(PictureCodes, code);
}

} // namespace mv
