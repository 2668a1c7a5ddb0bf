#include "audio/WaveSource.h"
#include "tests/audio/DecodedSource.h"
#include "tests/support/Corpus.h"
#include "tests/support/Scratch.h"
#include "tests/support/WaveMaker.h"

#include <gmock/gmock.h>

using namespace mv;
using namespace mv::test;

namespace {

std::unique_ptr<AudioSource> openWave(const std::string& path)
{
    return WaveSource::open(*InputFile::openShared(path));
}

void expectAsFfmpegDecodes(const std::string& path)
{
    auto ours = openWave(path);
    ASSERT_TRUE(ours);
    auto theirs = audioBackend().openSource(*InputFile::openShared(path));
    ASSERT_TRUE(theirs.ok());
    DecodedSource one(*ours);
    DecodedSource other(**theirs);
    EXPECT_TRUE(one.ended && other.ended);
    EXPECT_EQ(one.format.description, other.format.description);
    EXPECT_EQ(one.format.channelMask, other.format.channelMask);
    EXPECT_EQ(one.format.frames, other.format.frames);
    EXPECT_EQ(one.kind, other.kind);
    EXPECT_TRUE(one.samples == other.samples) << "samples differ";
}

bool isTaken(const WaveMaker& wave)
{
    ScratchFolder scratch;
    return openWave(scratch.write("sound.wav", wave.bytes())) != nullptr;
}

} // namespace

TEST(WaveSource, EveryDepthIsDecodedAsByFfmpeg)
{
    ScratchFolder scratch;
    for (auto [tag, bits] :
        { std::pair<std::uint16_t, std::uint16_t> { 1, 8 }, { 1, 16 }, { 1, 24 }, { 1, 32 }, { 3, 32 }, { 3, 64 } })
        for (std::uint16_t channels : { 1, 2, 6 }) {
            SCOPED_TRACE(testing::Message() << tag << " " << bits << " " << channels);
            WaveMaker wave;
            wave.format(tag, channels, 44100, bits).sound(96'000);
            expectAsFfmpegDecodes(scratch.write("sound.wav", wave.bytes()));
        }
}

TEST(WaveSource, OtherChunksAreSteppedOver)
{
    ScratchFolder scratch;
    Bytes odd(13, 'x');
    WaveMaker wave;
    wave.chunk("JUNK", odd);
    Bytes padded(wave.bytes().begin(), wave.bytes().end());
    padded.push_back(0); // the byte that fills up
    WaveMaker rest;
    rest.chunk("id3 ", Bytes(40, 'i')).format(1, 2, 48000, 16).sound(4000).chunk("LIST", bytesOf("INFO"));
    padded.insert(padded.end(), rest.bytes().begin() + 12, rest.bytes().end());
    std::string path = scratch.write("sound.wav", ByteView(padded));
    expectAsFfmpegDecodes(path);
    EXPECT_EQ(openWave(path)->format().frames, 1000);
}

TEST(WaveSource, SizesAreCutToTheFileAndToWholeFrames)
{
    ScratchFolder scratch;
    Bytes content(4003, 7);
    for (std::size_t size : { std::size_t { 0xFFFFFFFF - 1 }, std::size_t { 8000 }, std::size_t { 4000 } }) {
        SCOPED_TRACE(size);
        WaveMaker wave;
        wave.format(1, 2, 44100, 16).chunk("data", ByteView(content).first(std::min<std::size_t>(size, 4003)), size);
        std::string path = scratch.write("sound.wav", wave.bytes());
        expectAsFfmpegDecodes(path);
        EXPECT_EQ(openWave(path)->format().frames, 1000);
    }
}

TEST(WaveSource, AnExtensibleFormatNamesItsSpeakers)
{
    ScratchFolder scratch;
    Bytes content;
    ByteWriter out(content);
    out.u16le(0xFFFE);
    out.u16le(2);
    out.u32le(96000);
    out.u32le(96000 * 6);
    out.u16le(6);
    out.u16le(24);
    out.u16le(22);
    out.u16le(24);
    out.u32le(0x600); // the sides
    out.u16le(1);
    out.bytes(Bytes { 0, 0, 0, 0, 0x10, 0, 0x80, 0, 0, 0xAA, 0, 0x38, 0x9B, 0x71 });
    WaveMaker wave;
    wave.chunk("fmt ", content).sound(6000);
    std::string path = scratch.write("sound.wav", wave.bytes());
    expectAsFfmpegDecodes(path);
    EXPECT_EQ(openWave(path)->format().channelMask, 0x600u);
    content[20] = 7; // three speakers for two channels
    WaveMaker other;
    other.chunk("fmt ", content).sound(6000);
    path = scratch.write("other.wav", other.bytes());
    expectAsFfmpegDecodes(path);
    EXPECT_EQ(openWave(path)->format().channelMask, 0u);
    content[18] = 20; // fewer bits than the samples have room for
    WaveMaker narrow;
    narrow.chunk("fmt ", content).sound(6000);
    EXPECT_FALSE(isTaken(narrow));
}

TEST(WaveSource, WhatIsUnusualIsLeftToOthers)
{
    WaveMaker compressed, mismatch, twice, twoFormats, none, odd, noFormat, surround, large;
    EXPECT_FALSE(isTaken(compressed.format(2, 2, 44100, 16).sound(400)));
    EXPECT_FALSE(isTaken(mismatch.format(1, 2, 44100, 16, 8).sound(400)));
    EXPECT_FALSE(isTaken(twice.format(1, 2, 44100, 16).sound(400).sound(400)));
    EXPECT_FALSE(isTaken(twoFormats.format(1, 2, 44100, 16).format(1, 1, 8000, 16).sound(400)));
    EXPECT_FALSE(isTaken(none.format(1, 2, 44100, 16).sound(0)));
    EXPECT_FALSE(isTaken(odd.format(1, 1, 44100, 8).sound(401)));
    EXPECT_FALSE(isTaken(noFormat.sound(400)));
    Bytes digital(400, 0);
    digital[100] = 0x72, digital[101] = 0xF8, digital[102] = 0x1F, digital[103] = 0x4E;
    EXPECT_FALSE(isTaken(surround.format(1, 2, 44100, 16).chunk("data", digital)));
    EXPECT_FALSE(isTaken(large.chunk("ds64", Bytes(28, 0)).format(1, 2, 44100, 16).sound(400)));
    ScratchFolder scratch;
    EXPECT_FALSE(WaveSource::open(sourceOfBytes({})));
    EXPECT_FALSE(openWave(scratch.write("text.wav", "no sound at all")));
}

TEST(WaveSource, EveryWaveFileOfTheCorpusIsLeftOrDecodedAsByFfmpeg)
{
    MV_NEEDS_CORPUS();
    int taken = 0;
    for (const std::string& name : corpusFiles("audio")) {
        SCOPED_TRACE(name);
        if (!openWave(corpusFile(name)))
            continue;
        ++taken;
        expectAsFfmpegDecodes(corpusFile(name));
    }
    EXPECT_GE(taken, 5);
}
