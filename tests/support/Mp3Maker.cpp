#include "tests/support/Mp3Maker.h"

#include "Base/Core/ByteReader.h"

#include <array>
#include <zlib.h>

namespace mv::test {

namespace {

constexpr std::size_t V1TextSize = 30;

std::string filled(std::string text, std::size_t size)
{
    text.resize(size, '\0');
    return text;
}

std::size_t sideInformationEnd(const MpegFrameKind& kind)
{
    std::size_t side = kind.version == 1 ? (kind.mono ? 17 : 32) : (kind.mono ? 9 : 17);
    return 4 + side;
}

void put(std::string& frame, std::size_t at, std::string_view text) { frame.replace(at, text.size(), text); }

} // namespace

std::string bigEndian(std::uint32_t value)
{
    Bytes bytes;
    ByteWriter(bytes).u32be(value);
    return std::string(charsOf(bytes));
}

std::string syncsafe(std::uint32_t value)
{
    std::string text;
    for (int shift = 21; shift >= 0; shift -= 7)
        text += static_cast<char>(value >> shift & 0x7F);
    return text;
}

std::string id3Frame(int version, std::string_view id, std::string_view body, std::uint16_t flags)
{
    auto size = static_cast<std::uint32_t>(body.size());
    std::string frame(id);
    if (version == 2)
        frame += bigEndian(size).substr(1);
    else
        frame += version == 3 ? bigEndian(size) : syncsafe(size);
    if (version > 2)
        frame += { static_cast<char>(flags >> 8), static_cast<char>(flags) };
    frame += body;
    return frame;
}

std::string id3Tag(int version, std::string_view frames, std::uint8_t flags, std::size_t padding)
{
    std::string tag = "ID3";
    tag += { static_cast<char>(version), '\0', static_cast<char>(flags) };
    tag += syncsafe(static_cast<std::uint32_t>(frames.size() + padding));
    tag += frames;
    tag.append(padding, '\0');
    return tag;
}

std::string id3TagWithFooter(std::string_view frames)
{
    std::string tag = id3Tag(4, frames, 0x10);
    return tag + "3DI" + tag.substr(3, 7);
}

std::string unsynchronised(std::string_view bytes)
{
    std::string out;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        out += bytes[i];
        bool last = i + 1 == bytes.size();
        auto next = last ? 0 : static_cast<unsigned char>(bytes[i + 1]);
        if (bytes[i] == '\xFF' && (last || next == 0 || next >= 0xE0))
            out += '\0';
    }
    return out;
}

std::string zlibPacked(std::string_view bytes)
{
    uLongf size = compressBound(bytes.size());
    std::string packed(size, '\0');
    compress(
        reinterpret_cast<Bytef*>(packed.data()), &size, reinterpret_cast<const Bytef*>(bytes.data()), bytes.size());
    packed.resize(size);
    return packed;
}

std::string id3v1Tag(const Id3v1Texts& texts)
{
    std::string tag = "TAG" + filled(texts.title, V1TextSize) + filled(texts.artist, V1TextSize)
        + filled(texts.album, V1TextSize) + filled(texts.year, 4);
    if (texts.track != 0) {
        tag += filled(texts.comment, 28);
        tag += { '\0', static_cast<char>(texts.track) };
    } else {
        tag += filled(texts.comment, V1TextSize);
    }
    return tag + static_cast<char>(texts.genre);
}

std::string utf16LE(std::string_view ascii)
{
    std::string units;
    for (char c : ascii)
        units += { c, '\0' };
    return units;
}

std::string utf16BE(std::string_view ascii)
{
    std::string units;
    for (char c : ascii)
        units += { '\0', c };
    return units;
}

std::string mpegFrame(const MpegFrameKind& kind)
{
    static constexpr std::array<int, 15> Layer3 { 0, 32, 40, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320 };
    static constexpr std::array<int, 15> Layer2 { 0, 32, 48, 56, 64, 80, 96, 112, 128, 160, 192, 224, 256, 320, 384 };
    static constexpr std::array<int, 15> Layer1 { 0, 32, 64, 96, 128, 160, 192, 224, 256, 288, 320, 352, 384, 416,
        448 };
    static constexpr std::array<int, 15> Low1 { 0, 32, 48, 56, 64, 80, 96, 112, 128, 144, 160, 176, 192, 224, 256 };
    static constexpr std::array<int, 15> Low { 0, 8, 16, 24, 32, 40, 48, 56, 64, 80, 96, 112, 128, 144, 160 };
    static constexpr std::array Rates { 44100, 48000, 32000 };
    const auto& rates = kind.version == 1 ? (kind.layer == 1 ? Layer1
                                : kind.layer == 2            ? Layer2
                                                             : Layer3)
                                          : (kind.layer == 1 ? Low1 : Low);
    auto index = [](int value) { return static_cast<std::size_t>(value); };
    int rate = Rates[index(kind.sampleRateIndex)] / (kind.version == 1 ? 1 : kind.version == 2 ? 2 : 4);
    int bits = rates[index(kind.bitrateIndex)] * 1000;
    int samples = kind.layer == 1 ? 384 : kind.layer == 3 && kind.version != 1 ? 576 : 1152;
    int size = kind.layer == 1 ? (12 * bits / rate + kind.padded) * 4 : samples / 8 * bits / rate + kind.padded;
    int versionBits = kind.version == 1 ? 3 : kind.version == 2 ? 2 : 0;
    std::string frame { '\xFF', static_cast<char>(0xE0 | versionBits << 3 | (4 - kind.layer) << 1 | !kind.isProtected),
        static_cast<char>(kind.bitrateIndex << 4 | kind.sampleRateIndex << 2 | kind.padded << 1),
        static_cast<char>(kind.mono ? 0xC0 : 0) };
    frame.resize(kind.bitrateIndex == 0 ? kind.freeFormatSize : index(size), '\0');
    return frame;
}

std::string mpegFrames(std::size_t count, const MpegFrameKind& kind)
{
    std::string frames;
    for (std::size_t i = 0; i < count; ++i)
        frames += mpegFrame(kind);
    return frames;
}

std::string xingFrame(const XingTable& table, const MpegFrameKind& kind)
{
    std::string content = table.mark;
    content += bigEndian((table.frames >= 0 ? 1U : 0U) | (table.bytes >= 0 ? 2U : 0U) | (table.toc ? 4U : 0U));
    if (table.frames >= 0)
        content += bigEndian(static_cast<std::uint32_t>(table.frames));
    if (table.bytes >= 0)
        content += bigEndian(static_cast<std::uint32_t>(table.bytes));
    if (table.toc)
        content += std::string(100, '\1');
    if (!table.encoder.empty()) {
        content += filled(table.encoder, 9) + std::string(12, '\0');
        content += bigEndian(static_cast<std::uint32_t>(table.delay << 12 | table.padding)).substr(1);
    }
    std::string frame = mpegFrame(kind);
    put(frame, sideInformationEnd(kind) + (kind.isProtected ? 2 : 0), content);
    return frame;
}

std::string vbriFrame(std::uint32_t frames, std::uint32_t bytes, const MpegFrameKind& kind)
{
    std::string frame = mpegFrame(kind);
    put(frame, 36, "VBRI" + std::string(6, '\0') + bigEndian(bytes) + bigEndian(frames));
    return frame;
}

} // namespace mv::test
