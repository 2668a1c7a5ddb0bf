#include "facts/reading/WaveCodecs.h"

#include <array>

namespace mv {

namespace {

constexpr std::uint16_t Pcm = 1;
constexpr std::uint16_t Float = 3;

struct CodecOfTag {
    std::uint16_t tag;
    std::string_view codec;
};

constexpr std::array Codecs {
    CodecOfTag { 0x0002, "adpcm_ms" },
    CodecOfTag { 0x0006, "pcm_alaw" },
    CodecOfTag { 0x0007, "pcm_mulaw" },
    CodecOfTag { 0x0011, "adpcm_ima_wav" },
    CodecOfTag { 0x0020, "adpcm_yamaha" },
    CodecOfTag { 0x0031, "gsm_ms" },
    CodecOfTag { 0x0045, "adpcm_g726" },
    CodecOfTag { 0x0050, "mp2" },
    CodecOfTag { 0x0055, "mp3" },
    CodecOfTag { 0x00FF, "aac" },
    CodecOfTag { 0x0160, "wmav1" },
    CodecOfTag { 0x0161, "wmav2" },
    CodecOfTag { 0x0162, "wmapro" },
    CodecOfTag { 0x0163, "wmalossless" },
    CodecOfTag { 0x000A, "wmavoice" },
    CodecOfTag { 0x1600, "aac" },
    CodecOfTag { 0x2000, "ac3" },
    CodecOfTag { 0x2001, "dts" },
    CodecOfTag { 0x566F, "vorbis" },
    CodecOfTag { 0xF1AC, "flac" },
};

} // namespace

std::string_view codecOfWaveTag(std::uint16_t tag, std::uint16_t bits)
{
    if (tag == Pcm) {
        constexpr std::array<std::string_view, 4> BySize { "pcm_u8", "pcm_s16le", "pcm_s24le", "pcm_s32le" };
        return bits >= 1 && bits <= 32 ? BySize[(bits - 1u) / 8] : std::string_view();
    }
    if (tag == Float)
        return bits == 64 ? "pcm_f64le" : "pcm_f32le";
    for (const CodecOfTag& row : Codecs) {
        if (row.tag == tag)
            return row.codec;
    }
    return {};
}

bool isSampledWaveTag(std::uint16_t tag) { return tag == Pcm || tag == Float; }

} // namespace mv
