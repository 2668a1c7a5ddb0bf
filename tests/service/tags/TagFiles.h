#pragma once

#include "Base/Core/ByteReader.h"
#include "tests/support/Scratch.h"

#include <string>
#include <utility>
#include <vector>

namespace mv::test {

// MP3 files made byte by byte, and what independent programs find in them.

/// Silent MPEG-1 layer III frames, 128 kbit/s, 44.1 kHz.
Bytes mp3Audio(int frames = 20);

struct RawFrame {
    std::string id;
    std::string content;
    std::uint16_t flags = 0;
};
/// An ID3v2 tag of a version (2, 3 or 4) with padding.
Bytes id3Tag(int version, const std::vector<RawFrame>& frames, std::size_t padding = 0);
/// A text frame's content in Latin-1.
std::string latin1(const std::string& text);
/// 128 bytes of ID3v1.1.
Bytes id3v1Tag(const std::string& title, const std::string& year, int track, int genre);

Bytes joined(std::initializer_list<Bytes> parts);

/// Lines of read_back.py: the frames ("id3") or items ("mp4") that mutagen finds, sorted; "unreadable" alone for a file
/// that it cannot read.
std::vector<std::string> mutagenLines(const std::string& kind, const std::string& path);
/// The same of many files in one run, in their order.
std::vector<std::vector<std::string>> mutagenLinesOfAll(const std::string& kind, const std::vector<std::string>& paths);

/// A JPEG and a PNG of a few hundred bytes that decode.
Bytes tinyJpeg();
Bytes tinyPng();

} // namespace mv::test
