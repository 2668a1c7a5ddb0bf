#include "tests/service/tags/TagFiles.h"
#include "tests/support/Places.h"

#include <sstream>

namespace mv::test {

Bytes mp3Audio(int frames)
{
    constexpr std::size_t FrameBytes = 417;
    Bytes audio;
    for (int i = 0; i < frames; ++i) {
        Bytes frame { 0xFF, 0xFB, 0x90, 0x64 };
        frame.resize(FrameBytes);
        audio.insert(audio.end(), frame.begin(), frame.end());
    }
    return audio;
}

namespace {

void syncsafe(ByteWriter& writer, std::size_t value)
{
    for (int shift = 21; shift >= 0; shift -= 7)
        writer.u8(static_cast<std::uint8_t>(value >> shift & 0x7F));
}

void frameHeader(ByteWriter& writer, int version, const RawFrame& frame)
{
    writer.text(frame.id);
    if (version == 2)
        return writer.u24be(static_cast<std::uint32_t>(frame.content.size()));
    if (version == 3)
        writer.u32be(static_cast<std::uint32_t>(frame.content.size()));
    else
        syncsafe(writer, frame.content.size());
    writer.u16be(frame.flags);
}

std::string padded(std::string text, std::size_t size)
{
    text.resize(size);
    return text;
}

} // namespace

Bytes id3Tag(int version, const std::vector<RawFrame>& frames, std::size_t padding)
{
    Bytes body;
    ByteWriter bodyWriter(body);
    for (const RawFrame& frame : frames) {
        frameHeader(bodyWriter, version, frame);
        bodyWriter.text(frame.content);
    }
    bodyWriter.zeros(padding);
    Bytes tag;
    ByteWriter writer(tag);
    writer.text("ID3");
    writer.u8(static_cast<std::uint8_t>(version));
    writer.u16be(0);
    syncsafe(writer, body.size());
    writer.bytes(body);
    return tag;
}

std::string latin1(const std::string& text) { return std::string(1, '\0') + text; }

Bytes id3v1Tag(const std::string& title, const std::string& year, int track, int genre)
{
    Bytes tag;
    ByteWriter writer(tag);
    writer.text("TAG" + padded(title, 30) + padded("v1 artist", 30) + padded("v1 album", 30) + padded(year, 4)
        + padded("v1 comment", 29));
    writer.u8(static_cast<std::uint8_t>(track));
    writer.u8(static_cast<std::uint8_t>(genre));
    return tag;
}

Bytes joined(std::initializer_list<Bytes> parts)
{
    Bytes all;
    for (const Bytes& part : parts)
        all.insert(all.end(), part.begin(), part.end());
    return all;
}

std::vector<std::string> mutagenLines(const std::string& kind, const std::string& path)
{
    return mutagenLinesOfAll(kind, { path }).at(0);
}

std::vector<std::vector<std::string>> mutagenLinesOfAll(const std::string& kind, const std::vector<std::string>& paths)
{
    std::string command = sourcePath("tests/service/tags/read_back.py ") + kind;
    for (const std::string& path : paths)
        command += " " + shellQuoted(path);
    std::istringstream output(outputOf(command));
    std::vector<std::vector<std::string>> all(1);
    for (std::string line; std::getline(output, line);) {
        if (line.empty())
            all.emplace_back();
        else
            all.back().push_back(line);
    }
    all.pop_back();
    return all;
}

Bytes tinyJpeg() { return readFile(sourcePath("tests/data/tags/red.jpg")); }
Bytes tinyPng() { return readFile(sourcePath("tests/data/tags/red.png")); }

} // namespace mv::test
