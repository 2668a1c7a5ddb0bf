#pragma once

#include "Base/Core/Bytes.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace mv::test {

// Pieces of MP3 files, made to order. Strings hold bytes.

/// A frame with a header of its version: v2.2 (three-letter name), v2.3 (plain size) or v2.4 (syncsafe size).
std::string id3Frame(int version, std::string_view id, std::string_view body, std::uint16_t flags = 0);
/// A tag around frames; `padding` zero bytes behind them.
std::string id3Tag(int version, std::string_view frames, std::uint8_t flags = 0, std::size_t padding = 0);
/// The same with v2.4's footer.
std::string id3TagWithFooter(std::string_view frames);
std::string syncsafe(std::uint32_t value);
std::string bigEndian(std::uint32_t value);
/// Unsynchronisation: a zero byte behind every FF that needs one.
std::string unsynchronised(std::string_view bytes);
std::string zlibPacked(std::string_view bytes);

struct Id3v1Texts {
    std::string title, artist, album, year, comment;
    int track = 0;
    int genre = 255;
};
std::string id3v1Tag(const Id3v1Texts& texts);

/// UTF-16 of ASCII text without a mark.
std::string utf16LE(std::string_view ascii);
std::string utf16BE(std::string_view ascii);
inline const std::string MarkLE = "\xFF\xFE";
inline const std::string MarkBE = "\xFE\xFF";
/// A string literal with its zero bytes.
template <std::size_t N> std::string zeroed(const char (&text)[N]) { return std::string(text, N - 1); }

/// One MPEG audio frame of silence: header and zero bytes.
struct MpegFrameKind {
    int version = 1; ///< 1, 2, or 25
    int layer = 3;
    int bitrateIndex = 9; ///< 128 kbit/s in MPEG-1 layer III
    int sampleRateIndex = 0; ///< 44100 Hz in MPEG-1
    bool mono = false;
    bool padded = false;
    bool isProtected = false;
    std::size_t freeFormatSize = 0; ///< with bitrateIndex 0
};
std::string mpegFrame(const MpegFrameKind& kind = {});
std::string mpegFrames(std::size_t count, const MpegFrameKind& kind = {});
/// A frame with an encoder's table. Absent numbers are below zero.
struct XingTable {
    std::string mark = "Xing";
    std::int64_t frames = -1;
    std::int64_t bytes = -1;
    bool toc = true;
    std::string encoder; ///< "LAME3.100": then the delays follow
    int delay = 0;
    int padding = 0;
};
std::string xingFrame(const XingTable& table, const MpegFrameKind& kind = {});
std::string vbriFrame(std::uint32_t frames, std::uint32_t bytes, const MpegFrameKind& kind = {});

} // namespace mv::test
