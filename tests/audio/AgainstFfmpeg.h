#pragma once

#include "tests/audio/DecodedFile.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"

#include <algorithm>
#include <gmock/gmock.h>
#include <map>
#include <set>
#include <sys/stat.h>

namespace mv::test {

inline std::string rawFormat(std::uint32_t depth)
{
    return depth == 8 ? "s8" : depth == 16 ? "s16le" : depth == 24 ? "s24be" : "s32le";
}

/// What the ffmpeg program makes of a file's first audio stream, in the same shape.
inline Bytes decodedByFfmpeg(const std::string& path, const AudioStreamBasicDescription& client)
{
    ScratchFolder scratch;
    std::string raw = scratch.file("raw");
    run("ffmpeg -v quiet -y -i " + test::shellQuoted(path) + " -map 0:a:0 -f " + rawFormat(client.mBitsPerChannel) + " "
        + test::shellQuoted(raw));
    struct stat facts { };
    return stat(raw.c_str(), &facts) == 0 ? readFile(raw) : Bytes {};
}

inline std::int64_t framesIn(const Bytes& samples, const DecodedFile& file)
{
    return static_cast<std::int64_t>(samples.size() / file.client.mBytesPerFrame);
}

/// A recipe of the ffmpeg program for two seconds of two different channels.
inline std::string twoTones(int rate, const std::string& length = "2")
{
    return "ffmpeg -v error -y -f lavfi -i \"aevalsrc='0.4*sin(440*2*PI*t)+0.1*sin(4000*t*t)|0.3*sin(660*2*PI*t)':s="
        + std::to_string(rate) + ":d=" + length + "\" ";
}

inline void expectEqualToFfmpeg(const DecodedFile& ours, const std::string& path)
{
    ASSERT_EQ(ours.opened, noErr);
    EXPECT_EQ(ours.announced, ours.delivered);
    Bytes theirs = decodedByFfmpeg(path, ours.client);
    EXPECT_EQ(ours.delivered, framesIn(theirs, ours));
    EXPECT_TRUE(ours.samples == theirs) << "samples differ";
}

inline void putLittle32(Bytes& bytes, std::size_t at, std::uint32_t value)
{
    for (std::size_t i = 0; i < 4; ++i)
        bytes[at + i] = static_cast<std::uint8_t>(value >> 8 * i);
}

inline Bytes slice(const Bytes& bytes, std::size_t from, std::size_t count)
{
    auto begin = bytes.begin() + static_cast<std::ptrdiff_t>(from);
    return { begin, begin + static_cast<std::ptrdiff_t>(count) };
}

} // namespace mv::test

#define NEEDS(program)                                                                                                 \
    if (!haveProgram(program))                                                                                         \
    GTEST_SKIP() << program << " is not installed"
